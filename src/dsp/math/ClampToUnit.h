// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>

namespace Velmora::dsp {

/// Into 0..1; what is not a number becomes 0.
inline float ClampToUnit(float x) { return x > 0.0F ? std::min(x, 1.0F) : 0.0F; }

} // namespace Velmora::dsp
