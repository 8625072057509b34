// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "fuzz/Require.h"
#include "processor/boundary/HostRecords.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace orphia::fuzz {

/// One block of a host, of any length, with any number of channels. The buffers are made for it, so that none
/// of them goes on behind its end without the address check knowing.
class HostBlock {
public:
    using u32 = Velmora::u32;
    static constexpr u32 most = 3;
    /// No sound, and no position of a control.
    static constexpr float untouched = 1.2345678e37F;

    /// With `most` inputs, of which all samples are `input`. The buffers begin so many samples behind the
    /// place that a host would choose.
    HostBlock(u32 frameCount, u32 shift, float input) : frames(frameCount) {
        for (u32 i = 0; i < sound.size(); ++i) {
            sound[i].assign(frames + shift + 1, i < most ? untouched : input);
            channels[i] = sound[i].data() + shift;
        }
    }
    HostBlock(const HostBlock&) = delete;
    HostBlock& operator=(const HostBlock&) = delete;

    /// The first two inputs become a tone of 64 samples a period, which begins at `time`.
    void Sing(u32 time) {
        for (u32 n = 0; n < frames; ++n) {
            channels[most][n] = channels[most + 1][n] = static_cast<float>((time + n) % 64) * 0.01F - 0.32F;
        }
    }

    /// Fills in what belongs to the block, renders it, and looks at what came.
    template <class Processor>
    void Render(Processor& processor, Velmora::Processor::HostProcessData data, u32 outputs, u32 inputs) {
        data.numFrames = frames;
        data.numOutputs = outputs;
        data.outputs = outputs > 0 ? channels.data() : nullptr;
        data.numAuxInputs = inputs;
        data.auxInputs = inputs > 0 ? channels.data() + most : nullptr;
        processor.Process(&data);
        for (u32 i = 0; i < most; ++i) {
            const bool isOutput = i < outputs;
            Require(sound[i].back() == untouched, "a sample behind the block");
            Require(std::all_of(channels[i], channels[i] + frames,
                                [isOutput](float x) {
                                    return isOutput ? std::isfinite(x) && x != untouched : x == untouched;
                                }),
                    "a sample is no finite number, or is not written, or should not be");
        }
    }

private:
    u32 frames;
    /// Outputs, then inputs.
    std::array<std::vector<float>, 2 * most> sound;
    std::array<float*, 2 * most> channels{};
};

} // namespace orphia::fuzz
