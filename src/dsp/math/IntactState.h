// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>

namespace Velmora::dsp {

/// Far above what any admitted input can drive a stable section to, far below where a float overflows.
inline constexpr double largestIntactState = 1e12;

/// False for the state of a recursion that is not a number or has run away. Its owner asks once a block and
/// resets it.
inline bool IsIntact(double state) { return std::abs(state) <= largestIntactState; }

} // namespace Velmora::dsp
