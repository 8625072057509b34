// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace orphia::host {

/// Counts the blocks of what the engine leaves to its host. It moves "Shift" and "Width" by one step for each
/// change that is written, and then stays: a new value is written again until it has arrived. And a hold that
/// is on from the start would freeze silence: it waits until the voice has sounded. Who writes is its owner.
class LateControls {
public:
    /// "Shift" or "Width" has been written while it plays.
    void Move() {
        // Each step goes a quarter of the way and more: behind these, what is left is below the float's own.
        constexpr std::uint32_t stepsToArrive = 64;
        stepsLeft = stepsToArrive;
    }
    void Arrive() { stepsLeft = 0; }
    /// Whether the value has to be written anew in front of this block.
    bool TakesStep() { return stepsLeft > 0 && stepsLeft-- > 0; }

    /// A hold is on from the start: its owner switches it off for now. Rate in Hz.
    void DelayHold(std::uint32_t sampleRate, std::uint32_t blockFrames) {
        constexpr float secondsBeforeHold = 0.2F; // behind the first consonant
        const float frames = secondsBeforeHold * static_cast<float>(sampleRate);
        blocksUntilHold = 1 + static_cast<std::uint32_t>(frames) / blockFrames;
    }
    void ForgetHold() { blocksUntilHold = 0; }
    bool HoldWaits() const { return blocksUntilHold > 0; }
    /// Behind a block, by the meter of its loudest band; true once, when the hold is to come on.
    bool LetsHold(float loudestBand) {
        constexpr float leastSound = 0.01F;
        return HoldWaits() && loudestBand > leastSound && --blocksUntilHold == 0;
    }

private:
    std::uint32_t stepsLeft = 0;
    std::uint32_t blocksUntilHold = 0;
};

} // namespace orphia::host
