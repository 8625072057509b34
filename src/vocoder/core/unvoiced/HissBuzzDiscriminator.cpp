// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/unvoiced/HissBuzzDiscriminator.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/CornerAngle.h"
#include "dsp/vectors/Simd.h"

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

void HissBuzzDiscriminator::Side::Rectify(u32 numFrames) const {
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        const Float4 x = Float4::load_aligned(block + n);
        const Float4 gain = xsimd::select(x <= 0.0F, Float4(rectGainNegative), Float4(rectGainPositive));
        (x * gain * currentToVoltage).store_aligned(block + n);
    }
}

/// Clears a state that has blown up, so that the decision works again by itself.
void HissBuzzDiscriminator::Side::Heal(u32 numFrames) {
    const bool onePoleBlown = onePole.Heal();
    const bool biquadBlown = biquad.Heal();
    if (onePoleBlown || biquadBlown) {
        std::fill_n(block, numFrames, 0.0F);
    }
}

/// The smoothing filters of one channel, the high side in lane 0 and the low side in lane 1.
struct HissBuzzDiscriminator::Envelopes {
    Side& high;
    Side& low;
    dsp::FirstOrderPair onePole = dsp::Join(high.onePole, low.onePole);
    dsp::BiquadPair biquad = dsp::Join(high.biquad, low.biquad);

    Envelopes(Side& highSide, Side& lowSide) : high(highSide), low(lowSide) {}

    void StepQuad(u32 n) {
        auto quad = dsp::ReadFrom(high.block, low.block).Load(n);
        dsp::StepFrames(quad, [this](auto x) { return onePole.Tick(x); });
        dsp::StepFrames(quad, [this](auto x) { return biquad.Tick(x); });
        dsp::WriteTo(high.block, low.block).Store(n, quad);
    }

    void Finish(u32 numFrames) const {
        dsp::SplitState(onePole, high.onePole, low.onePole);
        dsp::SplitState(biquad, high.biquad, low.biquad);
        high.Heal(numFrames);
        low.Heal(numFrames);
    }

    /// Advances the channels together: none waits for the others.
    template <class... All>
    static void Run(u32 numFrames, All... channels) {
        for (u32 n = 0; n < numFrames; n += 4) {
            (channels.StepQuad(n), ...);
        }
        (channels.Finish(numFrames), ...);
    }
};

HissBuzzDiscriminator::HissBuzzDiscriminator(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, OutputCount,
                 dsp::RecordsOf({dsp::Declare::Linear("FcLP", 1.0F, 24000.0F, 1833.142F),
                                 dsp::Declare::Linear("QLP", 0.0F, 2.0F, 0.73082F),
                                 dsp::Declare::Linear("FcHP", 1.0F, 24000.0F, 1860.4652F),
                                 dsp::Declare::Linear("QHP", -20.0F, 2.0F, 0.72008F),
                                 dsp::Declare::Raw("HissBuzzTrimmer")})) {}

void HissBuzzDiscriminator::OnInitialize(float newSampleRate, u32 maxBlockSize) {
    sampleRate = newSampleRate;
    buffers.Allocate(2, dsp::RoundUpToFour(maxBlockSize));
    high.block = buffers[0];
    low.block = buffers[1];
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

bool HissBuzzDiscriminator::Process(dsp::ProcessContext& context) {
    Run(dsp::ChannelBlock<HissBuzzDiscriminator>{*this, context});
    return true;
}

void HissBuzzDiscriminator::ProcessPair(HissBuzzDiscriminator& left, dsp::ProcessContext& leftContext,
                                        HissBuzzDiscriminator& right, dsp::ProcessContext& rightContext) {
    Run(dsp::ChannelBlock<HissBuzzDiscriminator>{left, leftContext},
        dsp::ChannelBlock<HissBuzzDiscriminator>{right, rightContext});
}

template <class... Channels>
void HissBuzzDiscriminator::Run(const Channels&... channels) {
    const u32 frames = dsp::FramesOf(channels...);
    SplitBands(channels...);
    (channels.module.high.Rectify(frames), ...);
    (channels.module.low.Rectify(frames), ...);
    Envelopes::Run(frames, Envelopes(channels.module.high, channels.module.low)...);
    (channels.module.Decide(channels.context), ...);
}

template <class... Channels>
void HissBuzzDiscriminator::SplitBands(const Channels&... channels) {
    auto highPass = dsp::Join(channels.module.high.crossover...);
    auto lowPass = dsp::Join(channels.module.low.crossover...);
    const auto program = dsp::ReadFrom(channels.context.inputs[0]...);
    const auto highBand = dsp::WriteTo(channels.module.high.block...);
    const auto lowBand = dsp::WriteTo(channels.module.low.block...);
    const u32 frames = dsp::FramesOf(channels...);
    for (u32 n = 0; n < frames; n += 4) {
        auto highQuad = program.Load(n);
        auto lowQuad = highQuad;
        dsp::StepFrames(highQuad, [&](auto x) { return highPass.Tick(x) * highBandGain; });
        highBand.Store(n, highQuad);
        dsp::StepFrames(lowQuad, [&](auto x) { return lowPass.Tick(x) * lowBandGain; });
        lowBand.Store(n, lowQuad);
    }
    dsp::SplitState(highPass, channels.module.high.crossover...);
    dsp::SplitState(lowPass, channels.module.low.crossover...);
    (channels.module.high.crossover.Heal(), ...);
    (channels.module.low.crossover.Heal(), ...);
}

void HissBuzzDiscriminator::Decide(const dsp::ProcessContext& context) const {
    for (u32 n = 0; n < context.numFrames; n += Float4::size) {
        const Float4 difference =
            Float4::load_aligned(low.block + n) + trim - Float4::load_aligned(high.block + n);
        const auto unvoiced = difference <= -deadBand;
        xsimd::select(unvoiced, Float4(lowLevel), Float4(highLevel))
            .store_unaligned(context.outputs[HissControl] + n);
        xsimd::select(unvoiced, Float4(highLevel), Float4(lowLevel))
            .store_unaligned(context.outputs[BuzzControl] + n);
    }
}

} // namespace Velmora::Processor
