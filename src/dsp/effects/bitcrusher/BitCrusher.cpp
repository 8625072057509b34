// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/bitcrusher/BitCrusher.h"

#include "dsp/effects/shared/ParameterRange.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/vectors/StereoPair.h"

#include <iterator>
#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = BitCrusherControls;
using Range = ParameterRange;

constexpr ParameterRange ranges[] = {
    {"DryWet", Range::Linear, 0.0F, 1.0F, 1.0F, 1.0F},
    {"Bits", Range::Linear, 1.0F, 16.0F, 1.0F, 8.0F},
    {"SampleRate", Range::Exponential, 100.0F, BitCrusherSettings::highestRateHz, 6.0F, 12000.0F},
    {"Jitter", Range::Linear, 0.0F, 1.0F, 1.0F, 0.0F},
    {"Dither", Range::Linear, 0.0F, 1.0F, 1.0F, 0.0F},
    {"Curve", Range::Exponential, 0.0F, 255.0F, 6.0F, 15.0F},
    {"AntiAlias", Range::Switch, 0.0F, 1.0F, 1.0F, 0.0F},
    {"Drive", Range::Linear, -24.0F, 36.0F, 1.0F, 0.0F},
    {"Bias", Range::Linear, 0.0F, 0.5F, 1.0F, 0.0F},
    {"BitErrors", Range::Exponential, 0.0F, 0.5F, 6.0F, 0.0F},
    {"Slope", Range::Linear, 0.0F, 1.0F, 1.0F, 0.0F},
    {"LowCut", Range::Exponential, 20.0F, 2000.0F, 4.0F, 20.0F},
    {"HighCut", Range::Exponential, 500.0F, BitCrusherSettings::highestCutHz, 4.0F,
     BitCrusherSettings::highestCutHz},
    {"WetGain", Range::Linear, -24.0F, 12.0F, 1.0F, 0.0F},
    {"Shaping", Range::Linear, 0.0F, 1.0F, 1.0F, 0.0F},
    {"Split", Range::Exponential, 0.0F, 1200.0F, 5.0F, 0.0F},
};
static_assert(std::size(ranges) == BitCrusher::parameterCount);

float* OutputOrNull(const ProcessContext& context, u32 index) {
    return index < context.numOutputs ? context.outputs[index] : nullptr;
}

} // namespace

BitCrusher::BitCrusher(std::string moduleName)
    : UnitModule(std::move(moduleName), inputCount, 4, RecordsOf(ranges)) {}

void BitCrusher::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) { controls.Prepare(sampleRate); }

void BitCrusher::OnReset(bool /*hard*/) {
    for (u32 channel = 0; channel < 2; ++channel) {
        holds[channel].Reset();
        quantisers[channel].Reset();
    }
    antiAlias.Reset();
    highCut.Reset();
    lowCutState = Float4(0.0F);
    dryPast.fill({Float4(0.0F), Float4(0.0F)});
    dryAt = 0;
}

float BitCrusher::Read(u32 id, const ProcessContext& context, u32 inputIndex) {
    return ranges[id].Hold(parameters[id].GetModulatedValue(context, inputIndex));
}

bool BitCrusher::UpdateParameters(ProcessContext& context) {
    const bool modulated = watch.Sees(context, 2, numInputs);
    if (anyParameterChanged || needsUpdate || modulated) {
        BitCrusherSettings now;
        ReadSettings(now, context);
        if (needsUpdate || now != settings) {
            settings = now;
            controls.Aim(settings);
        }
    }
    if (needsUpdate) {
        controls.Jump();
        AimUnits();
    }
    return true;
}

void BitCrusher::ReadSettings(BitCrusherSettings& into, const ProcessContext& context) {
    constexpr u32 none = 0xFFFFFFFFU;
    into.bits = Read(Bits, context, 2);
    into.rateHz = Read(SampleRate, context, 3);
    into.mix = Read(DryWet, context, 4);
    into.driveDb = Read(Drive, context, 5);
    into.jitter = Read(Jitter, context, 6);
    into.mu = Read(Curve, context, 7);
    into.highCutHz = Read(HighCut, context, 8);
    into.splitCents = Read(Split, context, 9);
    into.dither = Read(Dither, context, none);
    into.antiAlias = Read(AntiAlias, context, none) >= 0.5F;
    into.bias = Read(Bias, context, none);
    into.bitErrors = Read(BitErrors, context, none);
    into.slope = Read(Slope, context, none);
    into.lowCutHz = Read(LowCut, context, none);
    into.wetGainDb = Read(WetGain, context, none);
    into.shaping = Read(Shaping, context, none);
}

void BitCrusher::AimUnits() {
    const auto& steps = controls[Controls::Steps].value;
    const auto& noise = controls[Controls::Noise].value;
    for (Quantiser& quantiser : quantisers) {
        quantiser.Aim({steps[Controls::Bits], steps[Controls::Bias], noise[Controls::Dither],
                       steps[Controls::Mu], steps[Controls::Shaping], noise[Controls::BitErrors]});
    }
    antiAlias.Aim(controls[Controls::Filters].value[Controls::AntiAliasSetting]);
    highCut.Aim(controls[Controls::Filters].value[Controls::HighCutSetting]);
}

bool BitCrusher::Process(ProcessContext& context) {
    ClearWhatIsBroken();
    if (controls.IsMoving()) {
        RenderBlock<true>(context);
    } else {
        RenderBlock<false>(context);
    }
    return true;
}

void BitCrusher::ClearWhatIsBroken() {
    const auto bass = static_cast<double>(xsimd::hadd(xsimd::abs(lowCutState)));
    if (!(antiAlias.IsSound() && highCut.IsSound() && IsIntact(bass))) {
        OnReset(false);
    }
}

template <bool moving>
void BitCrusher::RenderBlock(ProcessContext& context) {
    float* errors[] = {OutputOrNull(context, 2), OutputOrNull(context, 3)};
    const SmoothedLanes& levels = controls[Controls::Levels];
    for (u32 n = 0; n < context.numFrames; n += Float4::size) {
        if constexpr (moving) {
            controls.Step();
            AimUnits();
        }
        const StereoQuad in = StereoQuad::Read(context, n);
        const Pair frames = {in.left, in.right};
        const Float4 drive = levels.Over<moving>(Controls::Drive);
        Outputs wet = Crush<moving>({frames[0] * drive, frames[1] * drive});
        FilterWet(wet);
        const Pair dry = DelayDry(frames);
        for (u32 channel = 0; channel < 2; ++channel) {
            const Float4 sound = dry[channel] * levels.Over<moving>(Controls::Dry) +
                                 wet[channel].sound * levels.Over<moving>(Controls::Wet);
            sound.store_unaligned(context.outputs[channel] + n);
            if (errors[channel] != nullptr) {
                wet[channel].error.store_unaligned(errors[channel] + n);
            }
        }
    }
}

/// Held and not held, as far as either is wanted.
template <bool moving>
BitCrusher::Outputs BitCrusher::Crush(Pair frames) {
    FilterAhead(frames);
    const SmoothedLanes& levels = controls[Controls::Levels];
    const auto& clock = controls[Controls::Clock].value;
    const float unheld = levels.value[Controls::Unheld];
    if (clock[Controls::LeftRate] == clock[Controls::RightRate]) {
        holds[1].Follow(holds[0]);
    }
    Outputs held;
    for (u32 channel = 0; channel < 2; ++channel) {
        holds[channel].Push(frames[channel]);
        if (unheld < 1.0F) {
            held[channel] = holds[channel].Hold(
                {clock[channel], clock[Controls::Jitter], clock[Controls::Slope]}, quantisers[channel]);
        } else {
            holds[channel].Rest();
        }
    }
    if (unheld == 0.0F) {
        return held;
    }
    const Outputs direct = Unheld();
    if (unheld == 1.0F) {
        return direct;
    }
    const Float4 share = levels.Over<moving>(Controls::Unheld);
    for (u32 channel = 0; channel < 2; ++channel) {
        held[channel].sound += (direct[channel].sound - held[channel].sound) * share;
        held[channel].error += (direct[channel].error - held[channel].error) * share;
    }
    return held;
}

void BitCrusher::FilterAhead(Pair& frames) {
    const float filtered = controls[Controls::Noise].value[Controls::Filtered];
    if (filtered == 0.0F) {
        antiAlias.Reset();
        return;
    }
    simd::StepStereo(frames[0], frames[1],
                     [&](Float4 frame) { return frame + (antiAlias.Tick(frame) - frame) * filtered; });
}

BitCrusher::Outputs BitCrusher::Unheld() {
    Outputs outputs;
    for (u32 channel = 0; channel < 2; ++channel) {
        alignas(16) float samples[Float4::size];
        const Float4 late = holds[channel].Late();
        late.store_aligned(samples);
        for (float& sample : samples) {
            sample = quantisers[channel].Convert(sample);
        }
        const Float4 sound = Float4::load_aligned(samples);
        outputs[channel] = {sound, sound - late};
    }
    return outputs;
}

void BitCrusher::FilterWet(Outputs& wet) {
    const Float4 step(controls[Controls::Filters].value[Controls::LowCutStep]);
    simd::StepStereo(wet[0].sound, wet[1].sound, [&](Float4 frame) {
        const Float4 low = highCut.Tick(frame);
        const Float4 sound = low - lowCutState;
        lowCutState += sound * step;
        return sound;
    });
}

BitCrusher::Pair BitCrusher::DelayDry(const Pair& frames) {
    const Pair late = dryPast[dryAt];
    dryPast[dryAt] = frames;
    dryAt = (dryAt + 1) % static_cast<u32>(dryPast.size());
    return late;
}

} // namespace Velmora::dsp
