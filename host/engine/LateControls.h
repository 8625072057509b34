// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/engine/MeterReading.h"
#include "host/parameters/ParameterCatalog.h"

#include <algorithm>
#include <cstdint>

namespace orphia::host {

/// What the engine leaves to its host. It moves "Shift" and "Width" by one step for each change that is
/// written, and then stays: a new value is written again until it has arrived. And a hold that is on from the
/// start would freeze silence: it waits until the voice has sounded.
///
/// An Engine here has `float Position(id)` and `WriteNow(id, position)`, which does not come back to this.
class LateControls {
public:
    /// Of the parameters; the meters of the bands follow each other.
    struct Ids {
        explicit Ids(const ParameterCatalog& catalog)
            : shift(catalog.Find("SynthesizerFilterBank_Shift").id),
              width(catalog.Find("SynthesizerFilterBank_Width").id),
              hold(catalog.Find("PatchBay_SampleHold").id), firstBand(catalog.Find("CVFB1").id) {}

        std::uint32_t shift, width, hold, firstBand;
    };

    explicit LateControls(const Ids& controls) : ids(controls) {}

    /// A parameter has been written.
    void Note(std::uint32_t id) {
        if (id == ids.shift || id == ids.width) {
            // Each step goes a quarter of the way and more: behind these, what is left is below the float's
            // own.
            constexpr std::uint32_t stepsToArrive = 64;
            stepsLeft = stepsToArrive;
        } else if (id == ids.hold) {
            blocksUntilHold = 0;
        }
    }

    /// In front of the first block. Rate in Hz.
    template <class Engine>
    void DelayHold(Engine& engine, std::uint32_t sampleRate, std::uint32_t blockFrames) {
        if (engine.Position(ids.hold) > 0.5F) {
            constexpr float secondsBeforeHold = 0.2F; // behind the first consonant
            const float frames = secondsBeforeHold * static_cast<float>(sampleRate);
            engine.WriteNow(ids.hold, 0.0F);
            blocksUntilHold = 1 + static_cast<std::uint32_t>(frames) / blockFrames;
        }
    }
    /// Nothing moves yet.
    void Arrive() { stepsLeft = 0; }

    /// In front of each block.
    template <class Engine>
    void LetShiftArrive(Engine& engine) {
        if (stepsLeft > 0) {
            --stepsLeft;
            // A value that is equal is none that has changed.
            const float position = engine.Position(ids.shift);
            engine.WriteNow(ids.shift, position > 0.5F ? 0.0F : 1.0F);
            engine.WriteNow(ids.shift, position);
        }
    }

    /// Behind each block, by the meters of the bands.
    template <class Engine>
    void HoldOnceItSounds(Engine& engine) {
        constexpr float leastSound = 0.01F;
        float loudest = 0.0F;
        for (std::uint32_t band = 0; HoldWaits() && band < MeterReading::bandCount; ++band) {
            loudest = std::max(loudest, engine.Position(ids.firstBand + band));
        }
        if (loudest > leastSound && --blocksUntilHold == 0) {
            engine.WriteNow(ids.hold, 1.0F);
        }
    }

    /// Whether a parameter is the hold, and on for whoever asks, as it waits.
    bool IsWaitingHold(std::uint32_t id) const { return id == ids.hold && HoldWaits(); }
    /// Before a new start: it is on.
    template <class Engine>
    void EndWaiting(Engine& engine) {
        if (HoldWaits()) {
            blocksUntilHold = 0;
            engine.WriteNow(ids.hold, 1.0F);
        }
    }

private:
    bool HoldWaits() const { return blocksUntilHold > 0; }

    Ids ids;
    std::uint32_t stepsLeft = 0;
    std::uint32_t blocksUntilHold = 0;
};

} // namespace orphia::host
