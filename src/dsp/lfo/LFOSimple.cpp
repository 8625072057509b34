// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/lfo/LFOSimple.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/QuarterTurnSine.h"
#include "dsp/math/SyncRates.h"
#include "dsp/math/Within.h"
#include "dsp/math/Xorshift.h"

#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;

/// The shortest note at a fast tempo stays below.
constexpr float fastestHz = 100.0F;
/// In which the phase glides to that of the song.
constexpr double lockSeconds = 0.03;
constexpr float longestBeats = 32.0F;

/// For arguments within one cycle of the first.
Float4 Fraction(Float4 turns) {
    const Float4 positive = xsimd::select(turns < Float4(0.0F), turns + 1.0F, turns);
    return xsimd::select(positive >= Float4(1.0F), positive - 1.0F, positive);
}

} // namespace

LFOSimple::LFOSimple(std::string moduleName)
    : UnitModule(std::move(moduleName), 0, 2,
                 RecordsOf({Declare::Logarithmic("Rate", 0.02F, 20.0F, 0.7F),
                            Declare::Choice("RateType", RateTypeCount), Declare::Choice("Shape", ShapeCount),
                            Declare::Linear("Phase", 0.0F, 360.0F)})) {}

void LFOSimple::OnInitialize(float rateHz, u32 /*maxBlockSize*/) { sampleRate = static_cast<double>(rateHz); }

void LFOSimple::OnReset(bool /*hard*/) { cycles = 0.0; }

float LFOSimple::StraightBeats(float ratePosition) {
    const u32 step = ToIndex(ratePosition * static_cast<float>(lengthCount), lengthCount);
    return std::ldexp(longestBeats, -static_cast<int>(step));
}

bool LFOSimple::UpdateParameters(ProcessContext& context) {
    if (anyParameterChanged || needsUpdate) {
        shape = ToIndex(Value(Shape), ShapeCount);
        startPhase = static_cast<double>(Within(Value(Phase), 0.0F, 360.0F)) / 360.0;
    }
    UpdateRate(context);
    return true;
}

/// 0 for a rate in Hz.
double LFOSimple::CycleBeats() {
    constexpr double factors[RateTypeCount] = {0.0, 1.0, 1.5, 2.0 / 3.0};
    const float position = ClampToUnit(parameters[Rate].GetNormalized());
    return factors[ToIndex(Value(RateType), RateTypeCount)] * static_cast<double>(StraightBeats(position));
}

void LFOSimple::UpdateRate(const ProcessContext& context) {
    const double beats = CycleBeats();
    const bool isSynced = beats > 0.0 && SyncRates::IsTempo(context.tempo);
    const float hz =
        isSynced ? static_cast<float>(static_cast<double>(context.tempo) / (60.0 * beats)) : Value(Rate);
    increment = static_cast<double>(Within(hz, 0.0F, fastestHz)) / sampleRate;
    if (!isSynced || context.isPlaying == 0 || context.numFrames == 0) {
        return;
    }
    const double ofSong = static_cast<double>(Within(context.songPosition, 0.0F, 1e9F)) / beats;
    if (needsUpdate) {
        cycles = ofSong;
        return;
    }
    const double way = ofSong - cycles;
    const double frames = context.numFrames;
    const double share = 1.0 - std::exp(-frames / (lockSeconds * sampleRate));
    increment += (way - std::round(way)) * share / frames;
}

bool LFOSimple::Process(ProcessContext& context) {
    for (u32 output = 0; output < context.numOutputs; ++output) {
        const double ahead = output == 0 ? 0.0 : static_cast<double>(shift);
        Render(context.outputs[output], context.numFrames, cycles + startPhase + ahead);
    }
    cycles += increment * context.numFrames;
    return true;
}

void LFOSimple::Render(float* out, u32 frames, double from) const {
    for (u32 n = 0; n < frames; n += Float4::size) {
        Values(from + increment * n).store_unaligned(out + n);
    }
}

/// In four frames from the first on.
LFOSimple::Float4 LFOSimple::Values(double turns) const {
    const double start = turns - std::floor(turns);
    const Float4 frames{0.0F, 1.0F, 2.0F, 3.0F};
    const Float4 phase = Fraction(static_cast<float>(start) + static_cast<float>(increment) * frames);
    switch (shape) {
    case Triangle:
        return 1.0F - 4.0F * xsimd::abs(Fraction(phase + 0.25F) - 0.5F);
    case RampUp:
        return 2.0F * phase - 1.0F;
    case RampDown:
        return 1.0F - 2.0F * phase;
    case Square:
        return xsimd::select(phase < Float4(0.5F), Float4(1.0F), Float4(-1.0F));
    case Random:
        return {RandomValue(turns), RandomValue(turns + increment), RandomValue(turns + 2.0 * increment),
                RandomValue(turns + 3.0 * increment)};
    case Steps: {
        const auto step = [&](std::size_t lane) {
            return steps[ToIndex(phase.get(lane) * static_cast<float>(stepCount), stepCount)];
        };
        return {step(0), step(1), step(2), step(3)};
    }
    default:
        return QuarterTurnSine(phase * 4.0F);
    }
}

/// Belongs to the cycle, so that every output and every block sees the same.
float LFOSimple::RandomValue(double turns) const {
    const auto cycle = static_cast<u32>(static_cast<std::int64_t>(std::floor(turns)));
    u32 word = Xorshift::UsableState(cycle * 0x9E3779B1U + 0x165667B1U);
    word = Xorshift::Next(Xorshift::Next(word)) * 0x85EBCA77U;
    word = Xorshift::Next(Xorshift::UsableState(word));
    return static_cast<float>(static_cast<i32>(word)) * 0x1p-31F;
}

} // namespace Velmora::dsp
