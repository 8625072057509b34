// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/AudioSource.h"
#include "host/VocoderSession.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orphia::tools {

class RenderOutput;
class RunDisplay;

/// Runs two sources through a session into a file, a tenth of a second at a time.
class VocodeRender {
public:
    /// All of them at the session's rate; they must outlive this.
    VocodeRender(host::AudioSource& modulator, host::AudioSource& carrier, host::VocoderSession& session,
                 RenderOutput& output);

    /// As long as the modulator, then the tail. Throws FileError, and Stopped when a signal came.
    void Run(double tailSeconds, RunDisplay& display);

private:
    std::size_t ReadChunk();

    host::AudioSource& modulator;
    host::AudioSource& carrier;
    host::VocoderSession& session;
    RenderOutput& output;
    std::vector<float> modulatorSamples;
    std::vector<float> carrierSamples;
    std::uint64_t tailFrames = 0;
};

} // namespace orphia::tools
