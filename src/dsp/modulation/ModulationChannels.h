// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "support/platform/Types.h"

#include <cstddef>

namespace Velmora::dsp {

/// Channels of one length in one allocation, each with a header of floats directly in front of it; all zero
/// after Resize. With a header and a length that are multiples of four every channel is 16-byte aligned.
class ModulationChannels {
public:
    /// Allocates: set-up only.
    void Resize(u32 channelCount, u32 channelFrames, u32 headerFloats) {
        header = headerFloats;
        stride = headerFloats + channelFrames;
        storage.assign(static_cast<std::size_t>(channelCount) * stride, 0.0F);
    }

    float* operator[](u32 channel) { return storage.data() + Offset(channel); }
    const float* operator[](u32 channel) const { return storage.data() + Offset(channel); }

private:
    std::size_t Offset(u32 channel) const { return header + static_cast<std::size_t>(channel) * stride; }

    AlignedBuffer storage;
    std::size_t header = 0;
    std::size_t stride = 0;
};

/// Tells whether modulated parameters have to be read: while an input modulates, and once after.
class ModulationWatch {
public:
    /// Once per block, for the inputs from first to before end.
    bool Sees(const ProcessContext& context, u32 first, u32 end) {
        const bool before = active;
        active = false;
        for (u32 input = first; input < end; ++input) {
            active = active || context.ActiveModulation(input) != nullptr;
        }
        return active || before;
    }

private:
    bool active = false;
};

} // namespace Velmora::dsp
