// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/EngineSession.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace orphia::host {

/// One modulator with its settings: samples and notes in, the stereo sound that a vocoder listens to out.
/// There is no external input. A new session has the engine's own start values, with which hardly anything is
/// heard: apply a preset.
class ModulatorSession final : public EngineSession {
public:
    static constexpr std::uint32_t sampleCount = 12;

    /// Throws UsageError for a rate out of range. Equal seeds give equal random starts.
    explicit ModulatorSession(std::uint32_t sampleRate, std::uint32_t seed = defaultSeed);
    ~ModulatorSession() override;

    float Value(std::uint32_t id) const override;

    std::uint32_t FramesPerBlock() const;

    /// Replaces a sample, from 0, by the one in a file, and waits until it is there. Throws FileError when
    /// the file gives none, which leaves the sample empty, or when it takes longer than `limit`.
    void LoadSample(std::uint32_t sample, const std::filesystem::path& path,
                    std::chrono::milliseconds limit = std::chrono::minutes(5));
    bool HasSample(std::uint32_t sample) const;

    /// The key that chooses a slot, from 0, when the keys choose; each slot of a preset that does not say
    /// otherwise plays the sample of its number.
    std::uint32_t KeyOf(std::uint32_t slot) const;

    /// Act before the next block, with the settings of now. Keys above 127 are ignored.
    void NoteOn(std::uint32_t key);
    void NoteOff(std::uint32_t key);
    bool IsPlaying() const;

    /// Renders as many frames of interleaved stereo, full scale 1, as `output` holds. A last block that is
    /// not whole is lost in part, so it should be the end.
    void Process(std::span<float> output);

private:
    struct Engine;

    bool Write(const ParameterSetting& setting) override;
    void Start();

    std::unique_ptr<Engine> engine;
    bool started = false;
};

} // namespace orphia::host
