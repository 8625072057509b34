// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/StereoPair.h"
#include "support/platform/Standard.h"
#include "support/platform/Types.h"

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

    void Set(float halfOfA);

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
    static constexpr u32 firstSegment = BitCast<u32>(tableStart) >> segmentBits;
    static constexpr u32 segmentCount = (BitCast<u32>(tableEnd) >> segmentBits) - firstSegment;

    struct Table;
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

/// A non-inverting op-amp with two silicon diodes, one each way, a resistor and 51 pF in its feedback,
/// and 4.7 kilohms with 47 nF to ground: what lies above 720 Hz is amplified until the diodes conduct, the
/// rest passes. For two channels.
///
/// D. T. Yeh, J. S. Abel, J. O. Smith, "Simplified, physically-informed models of distortion and overdrive
/// guitar effects pedals", DAFx 2007. The voltage across the diodes follows from
///     C dV/dt = i - V / R - 2 I sinh(V / (n Vt)),
/// which is integrated by the backward difference of second order: stable however stiff the diodes make it.
class DiodeClipper {
public:
    using Float4 = simd::Float4;

    static constexpr double lowestResistance = 51e3;
    static constexpr double highestResistance = 551e3;
    static constexpr double groundResistance = 4.7e3;
    static constexpr double groundCapacitance = 47e-9;
    static constexpr double feedbackCapacitance = 51e-12;
    /// Shockley's model of a small signal diode.
    static constexpr double saturationCurrent = 2.52e-9;
    static constexpr double thermalVoltage = 1.752 * 25.85e-3;
    /// The stage before cannot leave its supply.
    static constexpr float supplyVolts = 4.5F;

    /// rate in Hz of the calls of Tick. Afterwards Set must be called.
    void Prepare(double rate);
    void Reset();
    bool IsSound() const;
    bool HasStateOf(const DiodeClipper& other) const {
        return xsimd::all(highPassState == other.highPassState && last == other.last &&
                          lastButOne == other.lastButOne);
    }

    /// The feedback resistor in ohms within its range, and a steady current in amperes into the diodes, which
    /// makes them clip unevenly.
    void Set(float resistance, float biasAmperes);

    /// The output in volts for the input in volts; lanes 0 and 1 are left and right.
    Float4 Tick(Float4 volts) {
        const Float4 limit(supplyVolts);
        const Float4 in = xsimd::min(xsimd::max(volts, -limit), limit);
        const Float4 half = (in - highPassState) * highPassStep;
        const Float4 aboveGround = in - (half + highPassState);
        highPassState += half + half;

        // What is known before the last voltage is adds up first.
        const Float4 known = lastButOne * lastButOneWeight + (aboveGround * inputWeight + biasDrive);
        lastButOne = last;
        last = knee.Solve(last * lastWeight + known);
        return in + last * static_cast<float>(thermalVoltage);
    }

private:
    double rate = 176400.0;
    DiodeKnee knee;

    Float4 highPassStep = Float4(0.0F);
    Float4 highPassState = Float4(0.0F);

    /// Voltages in units of thermalVoltage, one and two steps ago.
    Float4 last = Float4(0.0F);
    Float4 lastButOne = Float4(0.0F);
    Float4 lastWeight = Float4(0.0F);
    Float4 lastButOneWeight = Float4(0.0F);
    /// Per volt at the ground resistor, and at rest.
    Float4 inputWeight = Float4(0.0F);
    Float4 biasDrive = Float4(0.0F);
};

} // namespace Velmora::dsp
