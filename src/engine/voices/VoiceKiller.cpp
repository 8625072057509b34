// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/VoiceKiller.h"

#include "dsp/framework/ParameterDeclaration.h"

#include <algorithm>
#include <utility>

namespace Velmora::engine {

namespace {

constexpr float fadeSeconds = 0.006F;

} // namespace

VoiceKiller::VoiceKiller(std::string moduleName)
    : UnitModule(
          std::move(moduleName), 2, 2,
          dsp::RecordsOf({dsp::Declare::Choice("State", StateCount), dsp::Declare::Switch("Stereo", true)})) {
    gain.time = fadeSeconds;
}

void VoiceKiller::OnInitialize(float sampleRate, u32 maxBlockSize) {
    gain.sampleRate = sampleRate;
    gain.decimation = 1;
    ramp.assign(dsp::RoundUpToFour(maxBlockSize), 0.0F);
}

void VoiceKiller::OnReset(bool /*hard*/) {
    RestartFade();
    LetPass();
}

void VoiceKiller::RestartFade() {
    gain.Set(1.0F);
    gain.Retarget(0.0F);
}

bool VoiceKiller::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(State) && IsFading()) {
        RestartFade();
    }
    if (Changed(Stereo)) {
        isStereo = Value(Stereo) > 0.5F;
    }
    isPassing = !IsFading() && !IsMuted();
    return true;
}

bool VoiceKiller::Process(dsp::ProcessContext& context) {
    if (isPassing) {
        return true;
    }
    const bool isOneBuffer = context.numOutputs > 1 && context.outputs[0] == context.outputs[1];
    const u32 channels = std::min(context.numOutputs, isStereo && !isOneBuffer ? 2U : 1U);
    if (IsFading()) {
        RenderFade(context, std::min(channels, context.numInputs));
    } else if (IsMuted()) {
        for (u32 channel = 0; channel < channels; ++channel) {
            std::fill_n(context.outputs[channel], context.numFrames, 0.0F);
        }
    }
    return true;
}

void VoiceKiller::RenderFade(const dsp::ProcessContext& context, u32 channels) {
    gain.RenderBlock(ramp.data(), context.numFrames);
    for (u32 channel = 0; channel < channels; ++channel) {
        const float* in = context.inputs[channel];
        std::transform(in, in + context.numFrames, ramp.data(), context.outputs[channel],
                       [](float x, float g) { return x * g; });
    }
    if (gain.IsAtTarget()) {
        SetState(Mute);
    }
}

} // namespace Velmora::engine
