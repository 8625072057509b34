// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>

namespace Velmora::dsp {

/// Into low..high; what is not a number becomes low. Setters store any number, so readers bound it.
template <class T>
T Within(T value, T low, T high) {
    return value > low ? std::min(value, high) : low;
}

/// The index below count that a discrete parameter means.
inline u32 ToIndex(float value, u32 count) {
    return static_cast<u32>(Within(value, 0.0F, static_cast<float>(count - 1)));
}

} // namespace Velmora::dsp
