// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>

namespace Velmora::dsp {

/// Far above what any admitted input can drive a stable section to, far below where a float overflows.
inline constexpr double stateLimit = 1e12;

/// False for a filter state that is not a number or has run away.
inline bool IsWithinStateLimit(double state) { return std::abs(state) <= stateLimit; }

} // namespace Velmora::dsp
