// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/AlignedBuffer.h"
#include "support/platform/Types.h"

#include <vector>

namespace Velmora::Processor {

/// Channels of the host in the shape that modules rely on: none missing, each on a 16-byte boundary. Hosts
/// nearly always give them so, and their own buffers are used then; otherwise they pass through buffers kept
/// here, and those that find no room there are left out. For one block at a time; only Allocate allocates.
class AlignedChannels {
public:
    /// Room to copy up to channelCount channels.
    void Allocate(u32 channelCount, u32 maxBlockSize) {
        buffers.Allocate(channelCount, maxBlockSize);
        channels.resize(channelCount);
        for (u32 channel = 0; channel < channelCount; ++channel) {
            channels[channel] = buffers[channel];
        }
    }

    /// Takes the host's channels for a block, and their sound if they have to be copied. A missing channel is
    /// silent.
    void Take(const float* const* hostChannels, u32 hostCount, u32 frames);
    /// Whether Copies() stand in for the host's channels.
    bool AreCopied() const { return areCopied; }
    float* const* Copies() const { return channels.data(); }
    u32 Count() const { return count; }
    /// Returns the sound in the copies to the channels that it was taken for.
    void GiveBack(float* const* hostChannels, u32 frames) const;

private:
    dsp::BlockPool buffers;
    std::vector<float*> channels;
    u32 count = 0;
    bool areCopied = false;
};

} // namespace Velmora::Processor
