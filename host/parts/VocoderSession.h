// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/engine/MeterReading.h"
#include "host/parts/EngineSession.h"

#include <cstdint>
#include <memory>
#include <span>

namespace orphia::host {

/// One vocoder with its settings: stereo modulator and carrier in, stereo mix out. The core adds no
/// latency. A new session has the engine's own start values, with which nothing is heard: apply a preset.
///
/// Buffers are interleaved stereo, full scale 1.
class VocoderSession final : public EngineSession {
public:
    /// Throws UsageError for a rate out of range. Equal seeds give equal noise.
    explicit VocoderSession(std::uint32_t sampleRate, std::uint32_t noiseSeed = defaultSeed);
    ~VocoderSession() override;

    float Value(std::uint32_t id) const override;

    /// Renders as many frames as `output` holds; the inputs must be as long. In pieces of whole engine
    /// blocks the result does not depend on the pieces. A last block that is not whole is filled up with
    /// silence, and its rest is lost, so it should be the end.
    void Process(std::span<const float> modulator, std::span<const float> carrier, std::span<float> output);

    /// The largest readings since the last call.
    MeterReading TakeMeters();

private:
    struct Engine;

    bool Write(const ParameterSetting& setting) override;
    void CollectMeters();

    std::unique_ptr<Engine> engine;
    MeterReading meters;
    bool started = false;
};

} // namespace orphia::host
