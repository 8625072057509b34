// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>
#include <cmath>

/// What becomes of a number that is not finite, or out of bounds. Setters store any number, so readers bound
/// it, by one rule:
///
/// - A *control value* that is not a number becomes the low end of its range, an infinite one the end that it
///   points at: `Within`, `ClampToUnit`, `ToIndex`, and `ModuleParam::Hold` for the declared range.
/// - A *sound sample* that is not finite, or louder than any sound, is silence: `SilenceFaults`.
/// - A *state* of a recursion that has broken is found and reset by its owner once a block: `IsIntact`.
///   Until then it passes whatever limits the signal (`ClipLanes`), so that its owner finds it.
namespace Velmora::dsp {

/// A control value into low..high.
template <class T>
T Within(T value, T low, T high) {
    return value > low ? std::min(value, high) : low;
}

/// A control value into 0..1.
inline float ClampToUnit(float value) { return Within(value, 0.0F, 1.0F); }

/// The index below count that a discrete parameter means.
inline u32 ToIndex(float value, u32 count) {
    return static_cast<u32>(Within(value, 0.0F, static_cast<float>(count - 1)));
}

/// Far above what any admitted input can drive a stable section to, far below where a float overflows.
inline constexpr double largestIntactState = 1e12;

/// False for the state of a recursion that is not a number or has run away. Its owner asks once a block and
/// resets it.
inline bool IsIntact(double state) { return std::abs(state) <= largestIntactState; }

} // namespace Velmora::dsp
