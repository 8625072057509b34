// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/SampleCycle.h"

#include "dsp/math/Xorshift.h"

namespace Velmora::Processor {

namespace {

using Slots = SampleCycle::Slots;
constexpr u32 slotCount = SampleCycle::slotCount;

/// The first valid slot in from .. end - 1.
std::optional<u32> FirstFrom(u32 from, u32 end, const Slots& valid) {
    for (u32 slot = from; slot < end; ++slot) {
        if (valid[slot]) {
            return slot;
        }
    }
    return std::nullopt;
}

/// The last valid slot in end .. above - 1.
std::optional<u32> LastBelow(u32 above, u32 end, const Slots& valid) {
    for (u32 slot = above; slot-- > end;) {
        if (valid[slot]) {
            return slot;
        }
    }
    return std::nullopt;
}

u32 ChooseUpward(u32 current, bool restart, const Slots& valid) {
    const u32 start = restart || current + 1 >= slotCount ? 0 : current + 1;
    const auto ahead = FirstFrom(start, slotCount, valid);
    return ahead ? *ahead : FirstFrom(0, start, valid).value_or(0);
}

u32 ChooseDownward(u32 current, bool restart, const Slots& valid) {
    const u32 start = restart || current == 0 ? slotCount : current;
    const auto below = LastBelow(start, 0, valid);
    return below ? *below : LastBelow(slotCount, start, valid).value_or(0);
}

} // namespace

SampleCycle::Choice SampleCycle::Choose(Direction direction, u32 current, bool restart, const Slots& valid) {
    switch (direction) {
    case Downward:
        return {ChooseDownward(current, restart, valid)};
    case UpAndDown:
        return ChooseUpAndDown(current, restart, valid);
    case Random:
        return ChooseRandom(valid);
    default:
        return {ChooseUpward(current, restart, valid)};
    }
}

/// The ends are not repeated. The only valid slot stays chosen.
SampleCycle::Choice SampleCycle::ChooseUpAndDown(u32 current, bool restart, const Slots& valid) {
    if (movesDown) {
        if (const auto below = LastBelow(current, 0, valid)) {
            return {below};
        }
        movesDown = false;
        if (const auto above = FirstFrom((current + 1) % slotCount, slotCount, valid)) {
            return {above};
        }
    } else {
        if (const auto above = FirstFrom(restart ? 0 : current + 1, slotCount, valid)) {
            return {above};
        }
        if (const auto below = LastBelow(current != 0 ? current : 1, 0, valid)) {
            movesDown = true;
            return {below};
        }
    }
    return {std::nullopt, !valid[current]};
}

SampleCycle::Choice SampleCycle::ChooseRandom(const Slots& valid) {
    if (valid.none()) {
        return {};
    }
    randomState = dsp::Xorshift::Next(randomState);
    u32 skip = randomState % static_cast<u32>(valid.count());
    u32 slot = FirstFrom(0, slotCount, valid).value_or(0);
    while (skip-- > 0) {
        slot = FirstFrom(slot + 1, slotCount, valid).value_or(slot);
    }
    return {slot};
}

void SampleCycle::SeedRandom(u32 seed) { randomState = dsp::Xorshift::UsableState(seed); }

} // namespace Velmora::Processor
