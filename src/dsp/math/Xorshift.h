// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <chrono>
#include <cstdint>
#include <ratio>

namespace Velmora::dsp::Xorshift {

/// The state after this one: Marsaglia's 32-bit xorshift, which passes through every word but 0.
constexpr u32 Next(u32 state) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

/// A state that the sequence can leave: 0, where it would stand still, is replaced.
constexpr u32 UsableState(u32 seed) { return seed != 0 ? seed : 0x9E3779B9U; }

/// A seed from the system clock, one step per microsecond. For set-up, not for a block.
inline u32 ClockSeed() {
    using HundredNanoseconds = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return UsableState(
        static_cast<u32>(std::chrono::duration_cast<HundredNanoseconds>(sinceEpoch).count() / 10));
}

} // namespace Velmora::dsp::Xorshift
