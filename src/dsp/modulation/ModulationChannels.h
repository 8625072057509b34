// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "support/platform/Standard.h"
#include "support/platform/Types.h"

#include <array>
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

/// Tells which modulated parameters have to be read: those whose input has another first sample than in the
/// last block, or has begun or ceased to be active.
class ModulationWatch {
public:
    static constexpr u32 mostInputs = 16;

    /// Once per block, for the same inputs from first to before end each time. Bit n stands for input first +
    /// n.
    u32 Changes(const ProcessContext& context, u32 first, u32 end) {
        const u32 before = active;
        if (context.numInputs <= first) {
            active = 0;
            return before;
        }
        u32 changes = 0;
        active = 0;
        for (u32 input = first; input < end; ++input) {
            const float* modulation = context.ActiveModulation(input);
            if (modulation == nullptr) {
                continue;
            }
            const u32 n = input - first;
            const u32 now = BitCast<u32>(modulation[0]);
            changes |= now != last[n] ? 1U << n : 0U;
            last[n] = now;
            active |= 1U << n;
        }
        return changes | (active ^ before);
    }

private:
    /// Of the last block: which inputs were active, and the bits of their samples.
    u32 active = 0;
    std::array<u32, mostInputs> last{};
};

} // namespace Velmora::dsp
