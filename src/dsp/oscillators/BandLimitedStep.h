// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/AlignedBuffer.h"
#include "dsp/vectors/Simd.h"

#include <array>

namespace Velmora::dsp {

/// A windowed sinc of 16 frames and the step that is its integral, for events between the frames. Up to 0.4
/// of the rate (17.6 kHz at 44100 Hz) they are flat within 0.1 dB, and what would lie above 0.62 is 60 dB
/// down.
class BandLimitedStep {
public:
    using Float4 = simd::Float4;

    static constexpr u32 width = 16;
    using Row = std::array<Float4, width / Float4::size>;

    BandLimitedStep();

    /// The weights of 16 successive samples, oldest first, for the value `late` (0 to below 1) of a frame
    /// before the ninth of them. They sum up to 1.
    Row Kernel(float late) const { return Between(kernels, late); }
    /// The difference from a plain step in 16 successive frames, the ninth being the first after the step,
    /// which lies `late` of a frame before it.
    Row Residual(float late) const { return Between(residuals, late); }

private:
    static constexpr u32 phaseCount = 128;

    static Row Between(const AlignedBuffer& table, float late) {
        const float at = late * static_cast<float>(phaseCount);
        const auto phase = static_cast<u32>(at);
        const float share = at - static_cast<float>(phase);
        const float* first = table.data() + phase * width;
        Row row;
        for (u32 quad = 0; quad < row.size(); ++quad) {
            const Float4 a = Float4::load_aligned(first + quad * Float4::size);
            const Float4 b = Float4::load_aligned(first + width + quad * Float4::size);
            row[quad] = a + (b - a) * share;
        }
        return row;
    }

    /// A row for each phase and one for the end.
    AlignedBuffer kernels;
    AlignedBuffer residuals;
};

/// The one table, made at first use: call it once before it is needed in a block.
const BandLimitedStep& SharedBandLimitedStep();

} // namespace Velmora::dsp
