// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/SmootherSRL.h"
#include "support/platform/Types.h"

#include <bit>

/// Sets of voices or channels as the bits of a word, and their smoothers.
namespace Velmora::engine::Expression {

constexpr u32 channelMask = 15;

constexpr u32 Bit(u32 index) { return 1U << index; }

/// Calls `operation` for each member of a set, in ascending order.
template <class Operation>
void ForEachBit(u32 set, Operation operation) {
    for (; set != 0; set &= set - 1) {
        operation(static_cast<u32>(std::countr_zero(set)));
    }
}

/// Advances one smoother of a set and takes it out of the set when it has arrived, or was made to jump.
inline float Step(dsp::SmootherSRL& smoother, u32 index, u32& moving) {
    const float value = smoother.Next();
    if (smoother.IsAtTarget()) {
        moving &= ~Bit(index);
    }
    return value;
}

/// A target that is sent again must not stretch the slide towards it.
inline bool RetargetIfNew(dsp::SmootherSRL& smoother, float value) {
    if (smoother.target == value) {
        return false;
    }
    smoother.Retarget(value);
    return true;
}

} // namespace Velmora::engine::Expression
