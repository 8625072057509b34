// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/StereoPair.h"
#include "support/platform/Types.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::dsp {

/// Solves x + A sinh(x) = p, which a resistance and two diodes, one each way, make of a current, for two
/// channels.
///
/// Of the sinh, only the diode that conducts is in the closed form: y + e^y = z for y = x + ln(A / 2) and
/// z = p + ln(A / 2), whose solution, the logarithm of the Wright omega function, is tabulated once for every
/// A. The diode that blocks is a small addend, for A is below 0.05. The error is below 2e-4, which is 7
/// microvolts across the diodes.
class DiodeKnee {
public:
    using Float4 = simd::Float4;

    DiodeKnee();

    void Aim(float halfOfA);

    /// Lanes 0 and 1.
    Float4 Solve(Float4 p) const {
        const Float4 size = xsimd::abs(p);
        // The second operand comes through when the first is not a number.
        const Float4 argument = xsimd::min(size + shift, Float4(tableEnd));
        alignas(16) std::uint32_t segments[4];
        (xsimd::bitwise_cast<Word4>(argument) >> segmentBits).store_aligned(segments);
        const Float4 chords = xsimd::zip_lo(Float4::load_unaligned(Entry(segments[0])),
                                            Float4::load_unaligned(Entry(segments[1])));
        const Float4 conducting = simd::FirstFrameTwice(chords) + simd::SecondFrameTwice(chords) * argument;
        return (conducting + (FallingPower(size) * blockingAtRest + back)) ^ xsimd::bitofsign(p);
    }

private:
    using Word4 = xsimd::batch<std::uint32_t, simd::BaselineArch>;

    /// The table is addressed by the leading bits of its argument as a float, so that its segments grow with
    /// it: 256 for each power of two. The shift brings all arguments of use above the first one.
    static constexpr float tableShift = 14.0F;
    static constexpr float tableStart = 4.0F;
    static constexpr float tableEnd = 16384.0F;
    static constexpr u32 segmentBits = 15;
    static constexpr u32 firstSegment = std::bit_cast<u32>(tableStart) >> segmentBits;
    static constexpr u32 segmentCount = (std::bit_cast<u32>(tableEnd) >> segmentBits) - firstSegment;

    static std::vector<float> MakeTable();

    const float* Entry(std::uint32_t segment) const {
        return table + 2 * static_cast<std::ptrdiff_t>(segment - firstSegment);
    }

    /// e^-x to 0.1 % where it matters, by the eighth power of its series.
    static Float4 FallingPower(Float4 x) {
        const Float4 y = xsimd::min(x * 0.125F, Float4(1.0F));
        const Float4 root = y * (y * 0.5F - 1.0F) + 1.0F;
        const Float4 square = root * root;
        const Float4 fourth = square * square;
        return fourth * fourth;
    }

    /// Value at 0 and slope of the chord in each segment.
    const float* table;
    Float4 shift = Float4(tableShift);
    Float4 back = Float4(0.0F);
    Float4 blockingAtRest = Float4(0.0F);
};

} // namespace Velmora::dsp
