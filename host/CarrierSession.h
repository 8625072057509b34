// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/EngineSession.h"
#include "host/MidiFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace orphia::host {

/// Where a song is, for what follows its beat.
struct Transport {
    /// In beats per minute.
    double tempo = TempoMap::defaultTempo;
    /// In quarter notes.
    double beat = 0.0;
};

/// One carrier with its settings: notes in, stereo sound out. A new session has the engine's own start
/// values, with which nothing is heard: apply a preset.
class CarrierSession final : public EngineSession {
public:
    /// What one block takes.
    static constexpr std::size_t maxEvents = 256;

    /// Throws UsageError for a rate out of range. Equal seeds give equal noise.
    explicit CarrierSession(std::uint32_t sampleRate, std::uint32_t noiseSeed = defaultSeed);
    ~CarrierSession() override;

    float Value(std::uint32_t id) const override;
    /// As Set to a real value, for a wheel or pedal: it does not become one of the settings.
    void Control(std::uint32_t id, float value);

    std::uint32_t FramesPerBlock() const;

    /// Renders one block: interleaved stereo, full scale 1, at most FramesPerBlock() frames; of a shorter
    /// one the rest is lost. Events, notes and key pressure, all act at the block's start; those beyond
    /// maxEvents are dropped.
    void ProcessBlock(std::span<const MidiMessage> events, const Transport& transport,
                      std::span<float> output);

private:
    struct Engine;

    bool Write(const ParameterSetting& setting) override;

    std::unique_ptr<Engine> engine;
    bool started = false;
};

} // namespace orphia::host
