// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/BodeVocoder.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmora::Processor {

namespace {

using dsp::simd::Float4;

constexpr float halfPi = 1.5707964F;
// From volts of the circuit back to full scale.
constexpr float dryScale = 0.057048F;
constexpr float wetScale = 0.35714F;
constexpr float outputScale = 0.3162F;
constexpr float bandMeterScale = 753.57947F;
constexpr float hissLightScale = 1561.6704F;

std::vector<dsp::ModuleParam> DeclareAll() {
    std::vector<dsp::ModuleParam> records = dsp::RecordsOf(
        {dsp::Declare::Raw("Wet"), dsp::Declare::Raw("CarrierPreampOverloadLED"),
         dsp::Declare::Raw("PreampOverloadLED"), dsp::Declare::Raw("HissLED"), dsp::Declare::Raw("BuzzLED")});
    for (u32 band = 1; band <= bandCount; ++band) {
        records.push_back(dsp::Declare::Raw("CVFB" + std::to_string(band)).Record());
    }
    return records;
}

/// The buffers of one channel among those of the stereo core.
struct ChannelPins {
    using Stereo = BodeVocoder;
    using Mono = BodeVocoderMono;

    const float* inputs[Mono::InputCount] = {};
    float* outputs[Mono::OutputCount] = {};

    ChannelPins(const dsp::ProcessContext& context, u32 channel) {
        inputs[Mono::Carrier] = context.InputOrNull(Stereo::CarrierLeft + channel);
        inputs[Mono::Modulator] = channel < context.numAuxInputs ? context.auxInputs[channel] : nullptr;
        inputs[Mono::AttackModulation] = context.InputOrNull(Stereo::AttackModulation);
        inputs[Mono::ReleaseModulation] = context.InputOrNull(Stereo::ReleaseModulation);
        inputs[Mono::BalanceModulation] = context.InputOrNull(Stereo::BalanceModulation);
        inputs[Mono::ShiftModulation] = context.InputOrNull(Stereo::ShiftModulation);
        inputs[Mono::WidthModulation] = context.InputOrNull(Stereo::WidthModulation);
        inputs[Mono::CarrierLevelModulation] = context.InputOrNull(Stereo::CarrierLevelModulation);
        inputs[Mono::ProgramLevelModulation] = context.InputOrNull(Stereo::ProgramLevelModulation);
        inputs[Mono::SampleHoldModulation] = context.InputOrNull(Stereo::SampleHoldModulation);
        outputs[Mono::Vocoded] = context.outputs[Stereo::MixLeft + channel];
        outputs[Mono::CarrierPreampOut] = context.outputs[Stereo::CarrierPreampLeft + channel];
        outputs[Mono::ProgramPreampOut] = context.outputs[Stereo::ProgramPreampLeft + channel];
    }

    dsp::ProcessContext ContextFrom(const dsp::ProcessContext& context) const {
        return context.ForChild(inputs, Mono::InputCount, outputs, Mono::OutputCount);
    }
};

} // namespace

BodeVocoder::BodeVocoder(std::string moduleName)
    : ModuleContainer(std::move(moduleName), InputCount, OutputCount, DeclareAll(), std::make_tuple()) {
    Channel(1).ShareTuning(Channel(0));
}

void BodeVocoder::SeedNoise(u32 seed) {
    for (u32 channel = 0; channel < channelCount; ++channel) {
        // Spread by the golden ratio, so that neighbouring seeds do not give related sequences.
        SeedChannelNoise(channel, (seed * channelCount + channel + 1U) * 2654435769U);
    }
}

void BodeVocoder::UseKernels(const VocoderKernels& set) {
    for (u32 channel = 0; channel < channelCount; ++channel) {
        Channel(channel).UseKernels(set);
    }
}

bool BodeVocoder::SetParameterNormalized(u32 id, float value) {
    StayAwake();
    return ModuleContainer::SetParameterNormalized(id, value);
}

bool BodeVocoder::SetParameterValue(u32 id, float value) {
    StayAwake();
    return ModuleContainer::SetParameterValue(id, value);
}

float BodeVocoder::GetParameterNormalized(u32 id) {
    return id < childParameterCount ? Channel(0).GetParameterNormalized(id)
                                    : ModuleContainer::GetParameterNormalized(id);
}

void BodeVocoder::OnInitialize(float sampleRate, u32 maxBlockSize) {
    maxBlock = maxBlockSize;
    buffers.Allocate(BufferCount, dsp::RoundUpToFour(maxBlockSize));
    drySmoother.Prepare(sampleRate, 1);
    wetSmoother.Prepare(sampleRate, 1);
}

void BodeVocoder::OnReset(bool /*hard*/) {
    StayAwake();
    Publish(CarrierPreampOverloadLED, 0.0F);
    Publish(PreampOverloadLED, 0.0F);
}

/// Whether a block has neither sound nor modulation.
bool BodeVocoder::IsSilent(const dsp::ProcessContext& context) {
    const auto sounds = [&context](const float* input) {
        return input != nullptr &&
               std::any_of(input, input + context.numFrames, [](float x) { return x != 0.0F; });
    };
    for (u32 channel = 0; channel < channelCount; ++channel) {
        if (sounds(context.InputOrNull(CarrierLeft + channel)) ||
            sounds(channel < context.numAuxInputs ? context.auxInputs[channel] : nullptr)) {
            return false;
        }
    }
    for (u32 input = AttackModulation; input < InputCount; ++input) {
        if (context.ActiveModulation(input) != nullptr) {
            return false;
        }
    }
    return true;
}

void BodeVocoder::StayAwake() {
    silentBlocks = 0;
    isAtRest = canSleep = false;
}

/// Behind a block that has run. To look seldom costs next to nothing, and what a block reads of the block
/// before, the lights and the past of the panel, has followed when rest is seen again.
void BodeVocoder::WatchSilence(const dsp::ProcessContext& context) {
    if (!IsSilent(context)) {
        StayAwake();
        return;
    }
    constexpr u32 blocksBetweenLooks = 16;
    if (context.numFrames == maxBlock && ++silentBlocks % blocksBetweenLooks == 0) {
        const bool wasAtRest = isAtRest;
        isAtRest = drySmoother.IsAtTarget() && wetSmoother.IsAtTarget() && Channel(0).IsAtRest() &&
                   Channel(1).IsAtRest();
        canSleep = isAtRest && wasAtRest;
    }
}

bool BodeVocoder::UpdateParameters(dsp::ProcessContext& context) {
    sleeps = canSleep && IsSilent(context);
    if (sleeps) {
        return true;
    }
    const float wet = additional.parameters[Wet].GetModulatedValue(context, WetModulation);
    if (wet != wetPosition) {
        wetPosition = wet;
        dryTarget = std::cos(wet * halfPi);
        wetTarget = std::sin(wet * halfPi);
    }
    if (needsUpdate) {
        drySmoother.Set(dryTarget);
        wetSmoother.Set(wetTarget);
    }
    drySmoother.SetTarget(dryTarget);
    wetSmoother.SetTarget(wetTarget);
    return true;
}

bool BodeVocoder::Process(dsp::ProcessContext& context) {
    ChannelPins left(context, 0);
    ChannelPins right(context, 1);
    dsp::ProcessContext leftContext = left.ContextFrom(context);
    dsp::ProcessContext rightContext = right.ContextFrom(context);
    if (sleeps) {
        BodeVocoderMono::PassSilence(Channel(0), leftContext, Channel(1), rightContext);
        return true;
    }
    dsp::RunPair(Channel(0), leftContext, Channel(1), rightContext);
    MixOutputs(context);
    PublishLights();
    WatchSilence(context);
    return true;
}

void BodeVocoder::MixOutputs(const dsp::ProcessContext& context) {
    const u32 frames = context.numFrames;
    const float* wet = buffers[WetGain];
    const float* dry = buffers[DryGain];
    wetSmoother.RenderBlock(buffers[WetGain], frames);
    drySmoother.RenderBlock(buffers[DryGain], frames);
    for (u32 channel = 0; channel < channelCount; ++channel) {
        const float* program = context.outputs[ProgramPreampLeft + channel];
        float* out = context.outputs[MixLeft + channel];
        for (u32 n = 0; n + 4 <= frames; n += 4) {
            const Float4 drySignal = Float4::load_unaligned(program + n) * Float4::load_aligned(dry + n);
            const Float4 wetSignal =
                Float4::load_unaligned(out + n) * wetScale * Float4::load_aligned(wet + n);
            const Float4 mix = (drySignal * dryScale + wetSignal) * outputScale;
            // While a filter that was set to an impossible value runs away, the output stays finite.
            const auto finite = xsimd::abs(mix) <= Float4(std::numeric_limits<float>::max());
            xsimd::select(finite, mix, Float4(0.0F)).store_unaligned(out + n);
        }
    }
}

void BodeVocoder::PublishLights() {
    BodeVocoderMono& left = Channel(0);
    BodeVocoderMono& right = Channel(1);
    Publish(CarrierPreampOverloadLED, 0.5F * (left.CarrierOverload() + right.CarrierOverload()));
    Publish(PreampOverloadLED, 0.5F * (left.ProgramOverload() + right.ProgramOverload()));
    for (u32 band = 0; band < bandCount; ++band) {
        Publish(CVFB1 + band,
                dsp::Within((left.BandMeter(band) + right.BandMeter(band)) * bandMeterScale, 0.0F, 1.0F));
    }
    Publish(HissLED,
            dsp::Within((left.NoiseGateValue() + right.NoiseGateValue()) * hissLightScale, 0.0F, 1.0F));
    Publish(BuzzLED, dsp::Within(0.5F * (left.VoicedLevel() + right.VoicedLevel()), 0.0F, 1.0F));
}

} // namespace Velmora::Processor
