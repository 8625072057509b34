// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/Decibels.h"
#include "processor/synth/SynthProcessor.h"

#include <algorithm>
#include <utility>

namespace Velmora::Processor {

template <u32 v, u32 d, u32 r, class... C>
bool SynthProcessor<v, d, r, C...>::SetParameterNormalized(u32 id, float value) {
    const bool accepted = Root::SetParameterNormalized(id, value);
    // Hosts drive both by position; set as values they do nothing of this.
    if (id == ReservedId(Panic) && value >= 0.5F) {
        this->Reset(true);
        OnPanic();
    } else if (id == ReservedId(PresetLoading)) {
        LoadPreset(ReservedPosition(PresetLoading) >= 0.5F);
    }
    return accepted;
}

template <u32 v, u32 d, u32 r, class... C>
void SynthProcessor<v, d, r, C...>::LoadPreset(bool loading) {
    presetLoading = loading;
    if (!loading) {
        // Smoothers and filters start from the loaded values.
        this->Reset(false);
        firstPresetDone = true;
    }
    OnPresetLoading(loading);
}

template <u32 v, u32 d, u32 r, class... C>
void SynthProcessor<v, d, r, C...>::OnInitialize(float sampleRate, u32 maxBlockSize) {
    synthGain.Prepare(sampleRate, 1);
    ramps.Allocate(BufferCount, maxBlockSize);
    OnSynthInitialize(sampleRate, maxBlockSize);
}

template <u32 v, u32 d, u32 r, class... C>
void SynthProcessor<v, d, r, C...>::OnReset(bool hard) {
    synthGain.Set(GainTarget());
    OnSynthReset(hard);
}

template <u32 v, u32 d, u32 r, class... C>
float SynthProcessor<v, d, r, C...>::GainTarget() {
    return dsp::BoundedDecibelsToGain(ReservedValue(SynthMasterVolume));
}

template <u32 v, u32 d, u32 r, class... C>
bool SynthProcessor<v, d, r, C...>::UpdateParameters(dsp::ProcessContext& context) {
    if (std::exchange(isBroken, false)) {
        // Only now: the end of a block clears the marks that a reset leaves.
        this->Reset(true);
    }
    if (this->AdditionalChanged(GuiVisible)) {
        guiVisible = ReservedPosition(GuiVisible) >= 0.5F;
    }
    if (this->AdditionalChanged(SynthMasterVolume)) {
        synthGain.SetTarget(GainTarget());
    }
    // A change of the value alone: it is news for the host, not for the tree.
    this->additional.parameters[MtsHasMaster].SetNormalized(this->mtsClient->HasMaster() ? 1.0F : 0.0F);
    return OnUpdateParameters(context);
}

template <u32 v, u32 d, u32 r, class... C>
bool SynthProcessor<v, d, r, C...>::Process(dsp::ProcessContext& context) {
    dsp::ProcessContext block = WithBothOutputs(context);
    const bool result = RenderBlock(block);
    ApplyGain(block);
    KeepFinite(block);
    return result;
}

template <u32 v, u32 d, u32 r, class... C>
dsp::ProcessContext SynthProcessor<v, d, r, C...>::WithBothOutputs(const dsp::ProcessContext& context) {
    for (u32 side = 0; side < Root::outputCount; ++side) {
        float* given = side < context.numOutputs ? context.outputs[side] : nullptr;
        blockOutputs[side] = given;
        if (given == nullptr) {
            blockOutputs[side] = ramps[SpareLeft + side];
            std::fill_n(blockOutputs[side], context.numFrames, 0.0F);
        }
    }
    dsp::ProcessContext block = context;
    block.outputs = blockOutputs;
    block.numOutputs = Root::outputCount;
    return block;
}

template <u32 v, u32 d, u32 r, class... C>
void SynthProcessor<v, d, r, C...>::ApplyGain(const dsp::ProcessContext& context) {
    const u32 frames = context.numFrames;
    float* const left = context.outputs[0];
    float* const right = context.outputs[1];
    if (!synthGain.IsAtTarget()) {
        float* const ramp = ramps[GainRamp];
        synthGain.RenderBlock(ramp, frames);
        for (u32 n = 0; n < frames; ++n) {
            left[n] *= ramp[n];
            right[n] *= ramp[n];
        }
        return;
    }
    const auto gain = static_cast<float>(synthGain.current);
    if (gain == 1.0F) {
        return;
    }
    for (float* const output : {left, right}) {
        if (gain == 0.0F) {
            std::fill_n(output, frames, 0.0F);
        } else {
            std::for_each(output, output + frames, [gain](float& sample) { sample *= gain; });
        }
    }
}

template <u32 v, u32 d, u32 r, class... C>
void SynthProcessor<v, d, r, C...>::KeepFinite(const dsp::ProcessContext& context) {
    float* const left = context.outputs[0];
    float* const right = context.outputs[1];
    // 0 unless some sample is infinite or no number.
    float sum = 0.0F;
    for (u32 n = 0; n < context.numFrames; ++n) {
        sum += left[n] * 0.0F + right[n] * 0.0F;
    }
    if (sum != 0.0F) {
        std::fill_n(left, context.numFrames, 0.0F);
        std::fill_n(right, context.numFrames, 0.0F);
        isBroken = true;
    }
}

template <u32 v, u32 d, u32 r, class... C>
void SynthProcessor<v, d, r, C...>::GetTooltipText(u32 /*id*/, u32 capacity, char* text) {
    if (capacity != 0) {
        text[0] = '\0';
    }
}

} // namespace Velmora::Processor
