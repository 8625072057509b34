// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/TubeScreamer808.h"

#include "dsp/effects/shared/StereoQuad.h"

#include <iterator>
#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;

/// At full bias the diodes rest at about their knee.
constexpr float fullBiasAmperes = 20e-6F;
/// Above these rates the circuit runs at twice the rate, and at the rate.
constexpr float highestForFour = 66000.0F;
constexpr float highestForTwo = 132000.0F;

} // namespace

TubeScreamer808::TubeScreamer808(std::string moduleName)
    : EffectUnit(std::move(moduleName), modulationInputs, 2,
                 {Declare::Linear("DryWet", 0.0F, 1.0F, 1.0F), Declare::Linear("Drive", 21.5F, 41.4F, 30.0F),
                  Declare::Linear("Tone", 0.0F, 1.0F, 0.5F), Declare::Linear("Input", -24.0F, 24.0F, 0.0F),
                  Declare::Exponential("LowCut", 20.0F, 1000.0F, 4.0F),
                  Declare::Linear("Level", -60.0F, 12.0F, -22.0F),
                  Declare::Linear("Bias", -1.0F, 1.0F, 0.0F)}) {}

void TubeScreamer808::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    factorInUse = sampleRate < highestForFour ? 4 : sampleRate < highestForTwo ? 2 : 1;
    controls.Prepare(sampleRate);
    circuit.Prepare(static_cast<double>(sampleRate) * factorInUse);
}

void TubeScreamer808::OnReset(bool /*hard*/) {
    atTwice.Reset();
    atFourTimes.Reset();
    circuit.Reset();
}

TubeScreamerSettings TubeScreamer808::ReadSettings(const ProcessContext& context) {
    return {.mix = HeldValue(DryWet, context),
            .driveDb = HeldValue(Drive, context),
            .tone = HeldValue(Tone, context),
            .inputDb = HeldValue(Input, context),
            .lowCutHz = HeldValue(LowCut, context),
            .levelDb = HeldValue(Level, context),
            .bias = HeldValue(Bias, context)};
}

void TubeScreamer808::SetCircuit(TubeScreamerCircuit& into) const {
    const auto& knobs = controls[Controls::Knobs].value;
    into.Set({knobs[Controls::Resistance], knobs[Controls::TonePosition], knobs[Controls::LowCutHz],
              knobs[Controls::BiasShare] * fullBiasAmperes});
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
    constexpr u32 quad = Float4::size;
    const u32 frames = context.numFrames;
    if (controls.IsMoving()) {
        RenderFrames<true>(oversampler, context, 0, frames);
        return;
    }
    if (frames <= quad || !IsSilent(context)) {
        RenderFrames<false>(oversampler, context, 0, frames);
        return;
    }
    // A quad of silence that leaves everything as it was will do so again, with the same output.
    const TubeScreamerCircuit circuitBefore = circuit;
    const Oversampler<factor> oversamplerBefore = oversampler;
    RenderFrames<false>(oversampler, context, 0, quad);
    if (!(circuit.HasStateOf(circuitBefore) && oversampler.HasStateOf(oversamplerBefore))) {
        RenderFrames<false>(oversampler, context, quad, frames);
        return;
    }
    const StereoQuad steady{Float4::load_unaligned(context.outputs[0]),
                            Float4::load_unaligned(context.outputs[1])};
    for (u32 n = quad; n < frames; n += quad) {
        steady.Write(context, n);
    }
}

template <bool moving, u32 factor>
void TubeScreamer808::RenderFrames(Oversampler<factor>& oversampler, const ProcessContext& context, u32 first,
                                   u32 end) {
    enum Gain : u32 { Dry, Wet, Volts };
    /// Of the steps in a quad, each of which is two frames of the circuit.
    constexpr float share = 1.0F / (2.0F * factor);
    const SmoothedLanes& levels = controls[Controls::Levels];
    Float4 gains[] = {Float4(levels.value[Controls::DryGain]), Float4(controls.WetGainAtEnd()),
                      Float4(levels.value[Controls::Volts])};
    Float4 steps[std::size(gains)];
    // A copy that does not leave this function can stay in registers.
    TubeScreamerCircuit local = circuit;
    for (u32 n = first; n < end; n += Float4::size) {
        if constexpr (moving) {
            controls.Step();
            SetCircuit(local);
            const float starts[] = {levels.start[Controls::DryGain], controls.WetGainAtStart(),
                                    levels.start[Controls::Volts]};
            const float ends[] = {levels.value[Controls::DryGain], controls.WetGainAtEnd(),
                                  levels.value[Controls::Volts]};
            for (u32 i = 0; i < std::size(gains); ++i) {
                gains[i] = Float4(starts[i]);
                steps[i] = Float4((ends[i] - starts[i]) * share);
            }
        }
        const auto stage = [&](Float4 frames) {
            if constexpr (moving) {
                for (u32 i = 0; i < std::size(gains); ++i) {
                    gains[i] += steps[i];
                }
            }
            const Float4 wet = local.Tick(frames * gains[Volts]);
            return frames * gains[Dry] + wet * gains[Wet];
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
