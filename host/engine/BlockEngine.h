// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/NonBlocking.h"
#include "host/common/Public.h"
#include "host/midi/MidiMessage.h"
#include "host/parameters/ParameterInfo.h"

#include <cstdint>

namespace orphia::host {

/// What computes stereo sound in blocks of one length, from notes, settings and a voice. For one thread at a
/// time; none of these calls allocates, waits or throws.
class ORPHIA_PUBLIC BlockEngine {
public:
    virtual ~BlockEngine() = default;

    /// No engine has longer blocks, at whatever rate.
    static constexpr std::uint32_t longestBlock = 512;

    /// The length of every block, until the engine's rate is changed.
    virtual std::uint32_t FramesPerBlock() const = 0;

    /// How much later than what causes it sound comes out, in frames.
    virtual std::uint32_t LatencyFrames() const { return 0; }

    /// Acts at the start of the next block, in order. False when the block takes no more.
    virtual bool Send(const MidiMessage& message) ORPHIA_NONBLOCKING = 0;
    virtual void Set(const ParameterSetting& setting) ORPHIA_NONBLOCKING = 0;

    /// Renders FramesPerBlock() frames at full scale 1. `voice` holds voiceChannels buffers, 0 to 2; a mono
    /// voice is heard in the middle. `output` holds left and right, which may be the buffers of the voice.
    virtual void ProcessBlock(const float* const* voice, std::uint32_t voiceChannels,
                              float* const* output) ORPHIA_NONBLOCKING = 0;
};

} // namespace orphia::host
