// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/unvoiced/HissBuzzDiscriminator.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/CornerAngle.h"
#include "dsp/vectors/Simd.h"
#include "dsp/vectors/TransposeRows.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

using dsp::simd::Float4;

/// The comparator's supplies in volts, and the difference that it does not see.
constexpr float highLevel = 15.0F;
constexpr float lowLevel = -15.0F;
constexpr float deadBand = 0.0001F;
constexpr double highBandGain = 2.0;
constexpr double lowBandGain = 1.5909;
/// Ampere per volt of the rectifier's two halves, which differ slightly, and volt per ampere behind them.
constexpr float rectGainPositive = -4.988e-05F;
constexpr float rectGainNegative = 4.994e-05F;
constexpr float currentToVoltage = -20000.0F;
/// Half the one-pole's corner and the biquad's corner, in radians per second: 79.6 and 101.3 Hz.
constexpr double onePoleHalfCorner = 249.99998;
constexpr double biquadCorner = 636.4909;
constexpr double biquadDamping = 0.7141428;

} // namespace

void HissBuzzDiscriminator::Side::Prepare(double rate) {
    onePole.SetLowPass(std::tan(onePoleHalfCorner / rate));
    const double w = biquadCorner / rate;
    biquad.SetLowPass(w, std::sin(w) * biquadDamping);
}

void HissBuzzDiscriminator::Side::Reset() {
    crossover.Reset();
    onePole.Reset();
    biquad.Reset();
}

/// Clears a state that has blown up, so that the decision works again by itself. True when an envelope had.
bool HissBuzzDiscriminator::Side::Heal() {
    crossover.Heal();
    const bool onePoleBlown = onePole.Heal();
    return biquad.Heal() || onePoleBlown;
}

HissBuzzDiscriminator::HissBuzzDiscriminator(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, OutputCount,
                 dsp::RecordsOf({dsp::Declare::Linear("FcLP", 1.0F, 24000.0F, 1833.142F),
                                 dsp::Declare::Linear("QLP", 0.0F, 2.0F, 0.73082F),
                                 dsp::Declare::Linear("FcHP", 1.0F, 24000.0F, 1860.4652F),
                                 dsp::Declare::Linear("QHP", -20.0F, 2.0F, 0.72008F),
                                 dsp::Declare::Raw("HissBuzzTrimmer")})) {}

void HissBuzzDiscriminator::OnInitialize(float newSampleRate, u32 /*maxBlockSize*/) {
    sampleRate = newSampleRate;
    high.Prepare(newSampleRate);
    low.Prepare(newSampleRate);
}

void HissBuzzDiscriminator::OnReset(bool /*hard*/) {
    high.Reset();
    low.Reset();
}

bool HissBuzzDiscriminator::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(HissBuzzTrimmer)) {
        // The trimmer is loaded by the stage behind it: a curve through 0 at the centre.
        const float v = HeldValue(HissBuzzTrimmer);
        trim = (0.070484F - v * 0.140968F) / (v * 0.047232F * (v - 1.0F) - 1.0F);
    }
    const double rate = static_cast<double>(sampleRate);
    if (Changed(FcHP) || Changed(QHP)) {
        const double w = dsp::LimitCorner(static_cast<double>(HeldValue(FcHP)), rate) * 6.2831855 / rate;
        high.crossover.SetHighPass(w, std::sin(w) * (0.5 / static_cast<double>(HeldValue(QHP))));
    }
    if (Changed(FcLP) || Changed(QLP)) {
        const double w = dsp::LimitCorner(static_cast<double>(HeldValue(FcLP)), rate) * 6.2831855 / rate;
        low.crossover.SetLowPass(w, std::sin(w) * (0.5 / static_cast<double>(HeldValue(QLP))));
    }
    return true;
}

/// One channel runs as both.
bool HissBuzzDiscriminator::Process(dsp::ProcessContext& context) {
    Run(*this, context, *this, context);
    return true;
}

void HissBuzzDiscriminator::ProcessPair(HissBuzzDiscriminator& left, dsp::ProcessContext& leftContext,
                                        HissBuzzDiscriminator& right, dsp::ProcessContext& rightContext) {
    Run(left, leftContext, right, rightContext);
}

void HissBuzzDiscriminator::Run(HissBuzzDiscriminator& left, const dsp::ProcessContext& leftContext,
                                HissBuzzDiscriminator& right, const dsp::ProcessContext& rightContext) {
    using Lane = DiscriminatorLane;
    DiscriminatorLanes lanes;
    left.LoadLanes(lanes, Lane::HighLeft, Lane::LowLeft);
    right.LoadLanes(lanes, Lane::HighRight, Lane::LowRight);
    alignas(64) float rows[LaneTile::maxFrames * Lane::Count];
    const u32 numFrames = leftContext.numFrames;
    for (u32 offset = 0; offset < numFrames; offset += LaneTile::maxFrames) {
        const u32 frames = std::min(LaneTile::maxFrames, numFrames - offset);
        left.kernels->discriminate(lanes, leftContext.inputs[0] + offset, rightContext.inputs[0] + offset,
                                   rows, frames);
        Decide(left.trim, leftContext, right.trim, rightContext, rows, offset, frames);
    }
    left.KeepLanes(lanes, Lane::HighLeft, Lane::LowLeft, leftContext);
    right.KeepLanes(lanes, Lane::HighRight, Lane::LowRight, rightContext);
}

void HissBuzzDiscriminator::LoadLanes(DiscriminatorLanes& lanes, u32 highLane, u32 lowLane) const {
    lanes.gainNegative = rectGainNegative;
    lanes.gainPositive = rectGainPositive;
    lanes.currentToVoltage = currentToVoltage;
    lanes.bandGain[highLane] = highBandGain;
    lanes.bandGain[lowLane] = lowBandGain;
    for (const auto& [side, lane] : {std::pair(&high, highLane), std::pair(&low, lowLane)}) {
        lanes.crossover.Load(side->crossover, lane);
        lanes.onePole.Load(side->onePole, lane);
        lanes.smoother.Load(side->biquad, lane);
    }
}

/// A block in which an envelope had to be cleared is decided as silence.
void HissBuzzDiscriminator::KeepLanes(const DiscriminatorLanes& lanes, u32 highLane, u32 lowLane,
                                      const dsp::ProcessContext& context) {
    bool blown = false;
    for (const auto& [side, lane] : {std::pair(&high, highLane), std::pair(&low, lowLane)}) {
        lanes.crossover.Keep(side->crossover, lane);
        lanes.onePole.Keep(side->onePole, lane);
        lanes.smoother.Keep(side->biquad, lane);
        blown = side->Heal() || blown;
    }
    if (blown) {
        const bool unvoiced = trim <= -deadBand;
        std::fill_n(context.outputs[HissControl], context.numFrames, unvoiced ? lowLevel : highLevel);
        std::fill_n(context.outputs[BuzzControl], context.numFrames, unvoiced ? highLevel : lowLevel);
    }
}

/// The comparators of both channels on rows of envelopes.
void HissBuzzDiscriminator::Decide(float leftTrim, const dsp::ProcessContext& leftContext, float rightTrim,
                                   const dsp::ProcessContext& rightContext, const float* rows, u32 offset,
                                   u32 frames) {
    const auto decide = [](Float4 difference, float* hiss, float* buzz) {
        const auto unvoiced = difference <= -deadBand;
        xsimd::select(unvoiced, Float4(lowLevel), Float4(highLevel)).store_unaligned(hiss);
        xsimd::select(unvoiced, Float4(highLevel), Float4(lowLevel)).store_unaligned(buzz);
    };
    for (u32 n = 0; n < frames; n += Float4::size, rows += 16) {
        Float4 lanes[4] = {Float4::load_aligned(rows), Float4::load_aligned(rows + 4),
                           Float4::load_aligned(rows + 8), Float4::load_aligned(rows + 12)};
        dsp::TransposeRows(lanes[0], lanes[1], lanes[2], lanes[3]);
        const u32 at = offset + n;
        decide(lanes[DiscriminatorLane::LowLeft] + leftTrim - lanes[DiscriminatorLane::HighLeft],
               leftContext.outputs[HissControl] + at, leftContext.outputs[BuzzControl] + at);
        decide(lanes[DiscriminatorLane::LowRight] + rightTrim - lanes[DiscriminatorLane::HighRight],
               rightContext.outputs[HissControl] + at, rightContext.outputs[BuzzControl] + at);
    }
}

} // namespace Velmora::Processor
