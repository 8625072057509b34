// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/bitcrusher/BitCrusher.h"

#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/vectors/StereoPair.h"

#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = BitCrusherControls;
using Limits = BitCrusherSettings;

/// Programme of -20 LUFS keeps its loudness within 1 dB, as the converter clips what it is driven beyond.
/// What is turned down stays down: the noise of the converter would be turned up.
Float4 LevelBehind(Float4 drive) {
    constexpr float power = 0.01F;
    const Float4 beyond = xsimd::max(drive, Float4(1.0F));
    return xsimd::sqrt((beyond * beyond * power + 1.0F) / (1.0F + power)) / beyond;
}

float* OutputOrNull(const ProcessContext& context, u32 index) {
    return index < context.numOutputs ? context.outputs[index] : nullptr;
}

} // namespace

BitCrusher::BitCrusher(std::string moduleName)
    : EffectUnit(std::move(moduleName), modulationInputs, 4,
                 {Declare::Linear("DryWet", 0.0F, 1.0F, 1.0F), Declare::Linear("Bits", 1.0F, 16.0F, 8.0F),
                  Declare::Exponential("SampleRate", 100.0F, Limits::highestRateHz, 6.0F, 12000.0F),
                  Declare::Linear("Jitter", 0.0F, 1.0F), Declare::Linear("Dither", 0.0F, 1.0F),
                  Declare::Exponential("Curve", 0.0F, 255.0F, 6.0F, 15.0F), Declare::Switch("AntiAlias"),
                  Declare::Linear("Drive", -24.0F, 36.0F, 0.0F), Declare::Linear("Bias", 0.0F, 0.5F),
                  Declare::Exponential("BitErrors", 0.0F, 0.5F, 6.0F), Declare::Linear("Slope", 0.0F, 1.0F),
                  Declare::Exponential("LowCut", 20.0F, 2000.0F, 4.0F),
                  Declare::Exponential("HighCut", 500.0F, Limits::highestCutHz, 4.0F, Limits::highestCutHz),
                  Declare::Linear("WetGain", -24.0F, 12.0F, 0.0F), Declare::Linear("Shaping", 0.0F, 1.0F),
                  Declare::Exponential("Split", 0.0F, 1200.0F, 5.0F)}) {}

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

BitCrusherSettings BitCrusher::ReadSettings(const ProcessContext& context) {
    BitCrusherSettings now;
    now.bits = HeldValue(Bits, context);
    now.rateHz = HeldValue(SampleRate, context);
    now.mix = HeldValue(DryWet, context);
    now.driveDb = HeldValue(Drive, context);
    now.jitter = HeldValue(Jitter, context);
    now.mu = HeldValue(Curve, context);
    now.highCutHz = HeldValue(HighCut, context);
    now.splitCents = HeldValue(Split, context);
    now.dither = HeldValue(Dither, context);
    now.antiAlias = IsOn(AntiAlias);
    now.bias = HeldValue(Bias, context);
    now.bitErrors = HeldValue(BitErrors, context);
    now.slope = HeldValue(Slope, context);
    now.lowCutHz = HeldValue(LowCut, context);
    now.wetGainDb = HeldValue(WetGain, context);
    now.shaping = HeldValue(Shaping, context);
    return now;
}

void BitCrusher::SetUnits() {
    const auto& steps = controls[Controls::Steps].value;
    const auto& noise = controls[Controls::Noise].value;
    for (Quantiser& quantiser : quantisers) {
        quantiser.Set({steps[Controls::Bits], steps[Controls::Bias], noise[Controls::Dither],
                       steps[Controls::Mu], steps[Controls::Shaping], noise[Controls::BitErrors]});
    }
    antiAlias.Set(controls[Controls::Filters].value[Controls::AntiAliasSetting]);
    highCut.Set(controls[Controls::Filters].value[Controls::HighCutSetting]);
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
            SetUnits();
        }
        const StereoQuad in = StereoQuad::Read(context, n);
        const Pair frames = {in.left, in.right};
        const Float4 drive = levels.Over<moving>(Controls::Drive);
        Outputs wet = Crush<moving>({frames[0] * drive, frames[1] * drive});
        FilterWet(wet);
        const Pair dry = DelayDry(frames);
        const Float4 wetGain = levels.Over<moving>(Controls::Wet) * LevelBehind(drive);
        for (u32 channel = 0; channel < 2; ++channel) {
            const Float4 sound =
                dry[channel] * levels.Over<moving>(Controls::Dry) + wet[channel].sound * wetGain;
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
