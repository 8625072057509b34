// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/lfo/ChorusLfo.h"

#include "dsp/math/QuarterTurnSine.h"

#include <algorithm>

namespace Velmora::dsp {

namespace {

using simd::Float4;

constexpr double fastestHz = 20.0;
constexpr double driftHz = 1.0;
/// The vibrato of the double sine: cycles per cycle, and its share.
constexpr float vibratoRatio = 8.0F;
constexpr float vibratoShare = 0.1F;

/// Sine of whole turns.
Float4 TurnSine(Float4 turns) { return QuarterTurnSine(turns * 4.0F); }

Float4 Fraction(Float4 notNegative) { return notNegative - xsimd::to_float(xsimd::to_int(notNegative)); }

/// In phase with the sine.
Float4 TurnTriangle(Float4 turns) { return 1.0F - 4.0F * xsimd::abs(Fraction(turns + 0.25F) - 0.5F); }

/// A random number in -1..1 that belongs to a voice and a cycle.
float RandomKnot(u32 voice, u32 cycle) {
    u32 word = cycle * 0x9E3779B1U + voice * 0x85EBCA77U + 0x165667B1U;
    word = (word ^ (word >> 15)) * 0x2C1B3C6DU;
    word = (word ^ (word >> 12)) * 0x297A2D39U;
    word ^= word >> 15;
    return static_cast<float>(static_cast<i32>(word)) * 0x1p-31F;
}

/// Goes from knot to knot, flat at each.
Float4 RandomWalk(const CycleCounter& counter, Float4 offsets) {
    const Float4 phase = offsets + static_cast<float>(counter.phase);
    i32 whole[Float4::size];
    xsimd::to_int(phase).store_unaligned(whole);
    alignas(16) float from[Float4::size];
    alignas(16) float to[Float4::size];
    for (u32 voice = 0; voice < Float4::size; ++voice) {
        const u32 cycle = counter.cycle + static_cast<u32>(whole[voice]);
        from[voice] = RandomKnot(voice, cycle);
        to[voice] = RandomKnot(voice, cycle + 1);
    }
    const Float4 f = Fraction(phase);
    const Float4 start = Float4::load_aligned(from);
    return start + (Float4::load_aligned(to) - start) * (f * f * (3.0F - 2.0F * f));
}

} // namespace

void ChorusLfo::Prepare(float sampleRate) { quadSeconds = 4.0 / static_cast<double>(sampleRate); }

void ChorusLfo::Reset() {
    main = {};
    drift = {};
}

void ChorusLfo::Advance(float hz, u32 quads) {
    main.Advance(std::clamp(static_cast<double>(hz), 0.0, fastestHz) * quadSeconds, quads);
    drift.Advance(driftHz * quadSeconds, quads);
}

Float4 ChorusLfo::Value(const std::array<float, shapeCount>& weights, Float4 offsets,
                        float randomShift) const {
    const Float4 phase = offsets + static_cast<float>(main.phase);
    if (weights[Sine] == 1.0F) {
        return TurnSine(phase);
    }
    Float4 value(0.0F);
    if (weights[Sine] != 0.0F) {
        value += weights[Sine] * TurnSine(phase);
    }
    if (weights[Triangle] != 0.0F) {
        value += weights[Triangle] * TurnTriangle(phase);
    }
    if (weights[DoubleSine] != 0.0F) {
        const Float4 vibrato = vibratoShare * TurnSine(phase * vibratoRatio);
        value += weights[DoubleSine] * ((1.0F - vibratoShare) * TurnSine(phase) + vibrato);
    }
    if (weights[Random] != 0.0F) {
        value += weights[Random] * RandomWalk(main, offsets + randomShift);
    }
    return value;
}

Float4 ChorusLfo::Drift(float randomShift) const {
    // Spread over the cycle, so that the voices do not turn at the same time.
    const Float4 stagger{0.0F, 0.25F, 0.5F, 0.75F};
    return RandomWalk(drift, stagger + randomShift);
}

} // namespace Velmora::dsp
