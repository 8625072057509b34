// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/TubeScreamer808.h"

#include "dsp/effects/shared/ParameterRange.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"

#include <iterator>
#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;

using Range = ParameterRange;

constexpr ParameterRange ranges[] = {
    {"DryWet", Range::Linear, 0.0F, 1.0F, 1.0F, 1.0F},
    {"Drive", Range::Linear, 21.5F, 41.4F, 1.0F, 30.0F},
    {"Tone", Range::Linear, 0.0F, 1.0F, 1.0F, 0.5F},
    {"Input", Range::Linear, -24.0F, 24.0F, 1.0F, 0.0F},
    {"LowCut", Range::Exponential, 20.0F, 1000.0F, 4.0F, 20.0F},
    {"Level", Range::Linear, -60.0F, 12.0F, 1.0F, -22.0F},
    {"Bias", Range::Linear, -1.0F, 1.0F, 1.0F, 0.0F},
};
static_assert(std::size(ranges) == TubeScreamer808::parameterCount);

/// The pickup of a guitar: what a full scale sample is in volts.
constexpr float voltsAtFullScale = 0.2F;
/// What becomes a full scale sample at a level of 0 dB. At -22 dB and the start values, programme of -20 LUFS
/// keeps its loudness.
constexpr float voltsToFullScale = 0.104F;
/// At full bias the diodes rest at about their knee.
constexpr float fullBiasAmperes = 20e-6F;
/// What changes the circuit goes slower: it goes in steps of a quad.
constexpr double levelSeconds = 0.01;
constexpr double knobSeconds = 0.025;
/// Above these rates the circuit runs at twice the rate, and at the rate.
constexpr float highestForFour = 66000.0F;
constexpr float highestForTwo = 132000.0F;

} // namespace

TubeScreamer808::TubeScreamer808(std::string moduleName)
    : UnitModule(std::move(moduleName), inputCount, 2, RecordsOf(ranges)) {}

void TubeScreamer808::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    factorInUse = sampleRate < highestForFour ? 4 : sampleRate < highestForTwo ? 2 : 1;
    controls.Prepare(sampleRate, levelSeconds, knobSeconds);
    circuit.Prepare(static_cast<double>(sampleRate) * factorInUse);
}

void TubeScreamer808::OnReset(bool /*hard*/) {
    atTwice.Reset();
    atFourTimes.Reset();
    circuit.Reset();
}

float TubeScreamer808::Read(u32 id, const ProcessContext& context, u32 inputIndex) {
    return ranges[id].Hold(parameters[id].GetModulatedValue(context, inputIndex));
}

bool TubeScreamer808::UpdateParameters(ProcessContext& context) {
    const bool modulated = watch.Sees(context, 2, numInputs);
    if (anyParameterChanged || needsUpdate || modulated) {
        ReadControls(context);
    }
    if (needsUpdate) {
        controls.Jump();
        AimCircuit(circuit);
    }
    return true;
}

void TubeScreamer808::ReadControls(const ProcessContext& context) {
    constexpr u32 none = 0xFFFFFFFFU;
    const float drive = DecibelsToGain(Read(Drive, context, 2));
    const float toneAt = Read(Tone, context, 3);
    const float level = DecibelsToGain(Read(Level, context, 4));
    const float mix = Read(DryWet, context, 5);
    const float volts = voltsAtFullScale * DecibelsToGain(Read(Input, context, none));
    // The gain of the stage is 1 + R / Rg.
    const float resistance = Within(static_cast<float>(DiodeClipper::groundResistance) * (drive - 1.0F),
                                    static_cast<float>(DiodeClipper::lowestResistance),
                                    static_cast<float>(DiodeClipper::highestResistance));
    controls[Levels].Aim({1.0F - mix, mix * level / voltsToFullScale, volts, 0.0F});
    controls[Knobs].Aim({resistance, toneAt, Read(LowCut, context, none), Read(Bias, context, none)});
}

void TubeScreamer808::AimCircuit(TubeScreamerCircuit& into) const {
    const auto& knobs = controls[Knobs].value;
    into.Aim({knobs[Resistance], knobs[TonePosition], knobs[LowCutHz], knobs[BiasShare] * fullBiasAmperes});
}

bool TubeScreamer808::Process(ProcessContext& context) {
    ClearWhatIsBroken();
    switch (factorInUse) {
    case 1:
        Render(atRate, context);
        break;
    case 2:
        Render(atTwice, context);
        break;
    default:
        Render(atFourTimes, context);
    }
    return true;
}

void TubeScreamer808::ClearWhatIsBroken() {
    if (!(circuit.IsSound() && atTwice.IsSound() && atFourTimes.IsSound())) {
        OnReset(false);
    }
}

template <u32 factor>
void TubeScreamer808::Render(Oversampler<factor>& oversampler, ProcessContext& context) {
    if (controls.IsMoving()) {
        RenderBlock<true>(oversampler, context);
    } else {
        RenderBlock<false>(oversampler, context);
    }
}

template <bool moving, u32 factor>
void TubeScreamer808::RenderBlock(Oversampler<factor>& oversampler, ProcessContext& context) {
    /// Of the steps in a quad, each of which is two frames of the circuit.
    constexpr float share = 1.0F / (2.0F * factor);
    const SmoothedLanes& levels = controls[Levels];
    // A copy that does not leave this function can stay in registers.
    TubeScreamerCircuit local = circuit;
    for (u32 n = 0; n < context.numFrames; n += Float4::size) {
        if constexpr (moving) {
            controls.Step();
            AimCircuit(local);
        }
        Float4 gains[3];
        Float4 steps[3];
        for (u32 lane = DryGain; lane <= Volts; ++lane) {
            gains[lane] = Float4(levels.start[lane]);
            steps[lane] = Float4((levels.value[lane] - levels.start[lane]) * share);
        }
        const auto stage = [&](Float4 frames) {
            if constexpr (moving) {
                for (u32 lane = DryGain; lane <= Volts; ++lane) {
                    gains[lane] += steps[lane];
                }
            }
            const Float4 wet = local.Tick(frames * gains[Volts]);
            return frames * gains[DryGain] + wet * gains[WetGain];
        };
        StereoQuad quad = StereoQuad::Read(context, n);
        simd::ToPairs(quad.left, quad.right);
        quad = {oversampler.Run(quad.left, stage), oversampler.Run(quad.right, stage)};
        simd::FromPairs(quad.left, quad.right);
        quad.Write(context, n);
    }
    circuit = local;
}

} // namespace Velmora::dsp
