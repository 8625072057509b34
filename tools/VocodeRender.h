// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/AudioFileWriter.h"
#include "host/AudioSource.h"
#include "host/LoudnessMeter.h"
#include "host/VocoderSession.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace orphia::tools {

class RunDisplay;

/// What became of a run.
struct VocodeSummary {
    double seconds = 0.0;
    /// Largest sample, full scale 1.
    double peak = 0.0;
    /// In LUFS; nothing for silence and very short results.
    std::optional<double> loudness;
    /// Seconds of sound per second that the core took.
    double speed = 0.0;
};

/// Runs two sources through a session into a file, a tenth of a second at a time.
class VocodeRender {
public:
    /// All of them at the session's rate; they must outlive this.
    VocodeRender(host::AudioSource& modulator, host::AudioSource& carrier, host::VocoderSession& session,
                 host::AudioFileWriter& writer);

    /// As long as the modulator, then the tail. Throws FileError, and Stopped when a signal came.
    VocodeSummary Run(double tailSeconds, RunDisplay& display);

private:
    std::size_t ReadChunk();
    void RenderChunk(std::size_t frames);
    double SecondsOf(std::uint64_t frames) const;

    host::AudioSource& modulator;
    host::AudioSource& carrier;
    host::VocoderSession& session;
    host::AudioFileWriter& writer;
    host::LoudnessMeter loudness;
    std::size_t chunkFrames;
    std::vector<float> modulatorSamples;
    std::vector<float> carrierSamples;
    std::vector<float> outputSamples;
    std::uint64_t tailFrames = 0;
    double coreSeconds = 0.0;
};

} // namespace orphia::tools
