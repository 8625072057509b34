// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/engine/MeterReading.h"
#include "host/parameters/ParameterInfo.h"
#include "host/presets/Preset.h"

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <vector>

namespace orphia::host {

/// One vocoder core with its settings: stereo modulator and carrier in, stereo mix out. A new session has the
/// engine's own start values, with which nothing is heard: apply a preset. For one thread at a time.
///
/// Buffers are interleaved stereo, full scale 1.
class ORPHIA_PUBLIC VocoderSession {
public:
    static constexpr std::uint32_t minimumSampleRate = 8000;
    static constexpr std::uint32_t maximumSampleRate = 384000;
    static constexpr std::uint32_t defaultSeed = 1;

    /// Frames that the engine computes at once: 44 at 44100 Hz, about a millisecond at every rate.
    static std::uint32_t BlockSize(float sampleRate);

    /// Throws UsageError for a rate out of range. Equal seeds give equal noise.
    explicit VocoderSession(std::uint32_t sampleRate, std::uint32_t noiseSeed = defaultSeed);
    ~VocoderSession();
    VocoderSession(const VocoderSession&) = delete;
    VocoderSession& operator=(const VocoderSession&) = delete;

    std::uint32_t SampleRate() const { return sampleRate; }

    /// A safety limiter behind it, as an instrument's; off at first.
    void SetLimiter(bool isOn);
    /// Of the limiter: the core has none.
    std::uint32_t LatencyFrames() const;

    /// Before the first block a setting is there at once; later the engine moves to it in its own time, and
    /// "Shift" and "Width" arrive. A hold that is on from the start waits for sound. A position outside 0 to
    /// 1 is taken to the nearest; an id beyond the last parameter and what is not finite are ignored.
    void Set(const ParameterSetting& setting);
    void Apply(const Preset& preset);
    /// What was set, the last of each parameter, in order of id.
    std::vector<ParameterSetting> Settings() const;
    /// The present real value.
    float Value(std::uint32_t id) const;

    /// Renders as many frames as `output` holds; the inputs must be as long. In pieces of whole engine
    /// blocks the result does not depend on the pieces. A last block that is not whole is filled up with
    /// silence, and its rest is lost, so it should be the end.
    void Process(std::span<const float> modulator, std::span<const float> carrier, std::span<float> output);

    /// Bands and lights are read for TakeMeters, which costs some two percent; off at first.
    void SetMetered(bool isOn) { isMetered = isOn; }
    /// The largest readings since the last call. That of the limiter is always there.
    MeterReading TakeMeters();

private:
    struct Engine;

    void Start();
    void CollectMeters();

    std::uint32_t sampleRate;
    std::map<std::uint32_t, ParameterSetting> settings;
    std::unique_ptr<Engine> engine;
    MeterReading meters;
    bool isMetered = false;
    bool started = false;
};

} // namespace orphia::host
