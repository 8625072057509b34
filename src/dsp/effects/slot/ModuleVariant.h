// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/Within.h"
#include "dsp/smoothing/SmootherSRL.h"
#include "dsp/vectors/AlignedBuffer.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// Holds modules of several types at once and runs the one that "ModuleType" selects. A change of type fades
/// the old module out and the new one in, a bypass crossfades to the input; the module that is about to sound
/// is reset while it is silent. Only the selected module runs; the parameters of all of them live on.
///
/// Inputs: the audio, then the further inputs of every module one after another, whichever is selected;
/// exactly numInputs of them, null where there is nothing. Outputs: the audio, in buffers that are not the
/// inputs'. Every module has all audio inputs and outputs.
template <u32 audioInputs, u32 audioOutputs, class... Modules>
class ModuleVariant : public ModuleContainer<Modules...> {
    static_assert(audioInputs == audioOutputs, "a bypass passes each input to the output of its number");

public:
    static constexpr u32 typeCount = sizeof...(Modules);
    /// Behind the ids of the modules. All but the first are switches.
    enum Additional : u32 {
        ModuleType,
        Bypass,
        /// On: a bypass passes the input. Off: it is silent.
        CopyOnBypass,
        CrossfadeOnBypass,
        FadeOnModuleChange,
        AdditionalCount
    };
    static constexpr u32 ParameterId(u32 index) {
        return ModuleContainer<Modules...>::childParameterCount + index;
    }

    static constexpr u32 inputCount = audioInputs + (0U + ... + (Modules::inputCount - audioInputs));
    /// Where the further inputs of each type begin in the list of inputs.
    static constexpr std::array<u32, typeCount> firstInputs = [] {
        std::array<u32, typeCount> firsts{};
        u32 type = 0;
        u32 next = audioInputs;
        ((firsts[type++] = std::exchange(next, next + Modules::inputCount - audioInputs)), ...);
        return firsts;
    }();
    /// Where in the list of inputs a modulation signal of the slot is to arrive for each type, as its
    /// slotSignals say; 0 for a type that it does not move.
    static consteval std::array<u32, typeCount> SignalInputs(u32 signal) {
        u32 type = 0;
        return {SignalInput<Modules>(signal, firstInputs[type++])...};
    }

    void OnInitialize(float sampleRate, u32 maxBlockSize) override {
        for (SmootherSRL* fade : {&bypassFade, &changeFade}) {
            fade->sampleRate = sampleRate;
            fade->Prepare();
        }
        bypassFade.Set(0.0F);
        changeFade.Set(1.0F);
        cachedType = SelectedType();
        ramps.Allocate(2, maxBlockSize);
    }

    void OnReset(bool /*hard*/) override {
        bypassFade.Set(IsOn(CrossfadeOnBypass) && !IsOn(Bypass) ? 1.0F : 0.0F);
        changeFade.Set(1.0F);
        cachedType = SelectedType();
    }

    bool UpdateParameters(ProcessContext& /*context*/) override {
        if (this->additional.anyParameterChanged) {
            UpdateFadeSwitch();
            if (this->AdditionalChanged(ModuleType) || (this->AdditionalChanged(Bypass) && !IsOn(Bypass))) {
                PrepareSelected();
            }
            UpdateBypassFade();
        }
        return true;
    }

    bool Process(ProcessContext& context) override {
        if (context.numInputs != this->numInputs || context.numOutputs < audioOutputs) {
            return false;
        }
        const bool isFading = !bypassFade.IsAtTarget();
        const bool isPlain = !IsOn(Bypass) && !isFading;
        if (isPlain || (isFading && IsOn(CrossfadeOnBypass))) {
            RunActive(context);
        }
        if (!isPlain) {
            ApplyBypass(context, isFading);
        }
        return true;
    }

    /// The type that runs: "ModuleType", or while that fades in the one before.
    u32 ActiveType() {
        if (!IsOn(FadeOnModuleChange)) {
            cachedType = SelectedType();
        }
        return cachedType;
    }

protected:
    /// Records of a derived class follow the own ones. One tuple of constructor arguments per module.
    template <class... Arguments>
    ModuleVariant(std::string moduleName, std::vector<ModuleParam>&& furtherRecords, Arguments&&... arguments)
        : ModuleContainer<Modules...>(std::move(moduleName), 0, audioOutputs,
                                      Records(std::move(furtherRecords)),
                                      std::forward<Arguments>(arguments)...) {
        u32 type = 0;
        this->ForEachChild([&](Module& module) { modules[type++] = &module; });
        this->numInputs = inputCount;
        bypassFade.time = bypassSeconds;
        changeFade.time = changeSeconds;
    }

private:
    static constexpr float bypassSeconds = 0.05F;
    static constexpr float changeSeconds = 0.025F;
    enum Ramp : u32 { BypassRamp, ChangeRamp };

    template <class M>
    static consteval u32 SignalInput(u32 signal, u32 firstInput) {
        if (signal >= M::slotSignals.size()) {
            return 0;
        }
        u32 input = 0;
        while (M::modulationInputs.at(input) != M::slotSignals[signal]) {
            ++input;
        }
        return firstInput + input;
    }

    static std::vector<ModuleParam> Records(std::vector<ModuleParam>&& furtherRecords) {
        auto records = RecordsOf({Declare::Choice("ModuleType", typeCount), Declare::Switch("Bypass"),
                                  Declare::Switch("CopyOnBypass"), Declare::Switch("CrossfadeOnBypass"),
                                  Declare::Switch("FadeOnModuleChange")});
        std::move(furtherRecords.begin(), furtherRecords.end(), std::back_inserter(records));
        return records;
    }

    /// For the switches.
    bool IsOn(Additional index) { return this->AdditionalValue(index) > 0.5F; }
    u32 SelectedType() { return ToIndex(this->AdditionalValue(ModuleType), typeCount); }

    void UpdateFadeSwitch() {
        if (this->AdditionalChanged(FadeOnModuleChange) && !IsOn(FadeOnModuleChange)) {
            changeFade.Set(1.0F);
            cachedType = SelectedType();
        }
    }

    /// The module of the selected type is reset now, while it does not sound, and comes in without the tail
    /// of its last use.
    void PrepareSelected() {
        const u32 old = cachedType;
        const u32 selected = SelectedType();
        if (this->AdditionalChanged(ModuleType) && old != selected) {
            if (IsOn(FadeOnModuleChange)) {
                changeFade.Retarget(0.0F);
            } else {
                cachedType = selected;
                changeFade.Retarget(1.0F);
            }
        }
        if (!this->needsUpdate || old != selected) {
            modules[selected]->Reset(false);
        }
    }

    void UpdateBypassFade() {
        if (IsOn(CrossfadeOnBypass)) {
            if (this->AdditionalChanged(Bypass)) {
                bypassFade.Retarget(IsOn(Bypass) ? 0.0F : 1.0F);
            }
        } else if (this->AdditionalChanged(CrossfadeOnBypass)) {
            bypassFade.Set(0.0F);
        }
    }

    void RunActive(ProcessContext& context) {
        const u32 type = ActiveType();
        Module& active = *modules[type];
        std::copy_n(context.inputs, audioInputs, activeInputs.begin());
        std::copy_n(context.inputs + firstInputs[type], active.numInputs - audioInputs,
                    activeInputs.begin() + audioInputs);
        ProcessContext child =
            context.ForChild(activeInputs.data(), active.numInputs, context.outputs, audioOutputs);
        RunChild(active, child);
        if (IsOn(FadeOnModuleChange) && !changeFade.IsAtTarget()) {
            FadeChange(context);
        }
    }

    void FadeChange(const ProcessContext& context) {
        changeFade.RenderBlock(ramps[ChangeRamp], context.numFrames);
        Multiply(context, ramps[ChangeRamp]);
        if (changeFade.IsAtTarget() && changeFade.current == 0.0F) {
            cachedType = SelectedType();
            changeFade.Retarget(1.0F);
        }
    }

    /// The outputs hold what the module gave, where it ran.
    void ApplyBypass(const ProcessContext& context, bool isFading) {
        const bool copies = IsOn(CopyOnBypass);
        if (isFading) {
            bypassFade.RenderBlock(ramps[BypassRamp], context.numFrames);
            if (copies) {
                Crossfade(context, ramps[BypassRamp]);
            } else {
                Multiply(context, ramps[BypassRamp]);
            }
        } else if (bypassFade.current == 0.0F) {
            for (u32 channel = 0; channel < audioOutputs; ++channel) {
                if (copies) {
                    CopyChannel(context, channel);
                } else {
                    std::fill_n(context.outputs[channel], context.numFrames, 0.0F);
                }
            }
        }
    }

    static void Multiply(const ProcessContext& context, const float* ramp) {
        for (u32 channel = 0; channel < audioOutputs; ++channel) {
            float* out = context.outputs[channel];
            std::transform(out, out + context.numFrames, ramp, out, [](float x, float f) { return x * f; });
        }
    }

    static void Crossfade(const ProcessContext& context, const float* ramp) {
        for (u32 channel = 0; channel < audioOutputs; ++channel) {
            const float* in = context.InputOrNull(channel);
            float* out = context.outputs[channel];
            for (u32 n = 0; n < context.numFrames; ++n) {
                out[n] = (1.0F - ramp[n]) * (in != nullptr ? in[n] : 0.0F) + ramp[n] * out[n];
            }
        }
    }

    std::array<Module*, typeCount> modules{};
    std::array<const float*, std::max({Modules::inputCount...})> activeInputs{};
    u32 cachedType = 0;
    SmootherSRL bypassFade;
    SmootherSRL changeFade;
    BlockPool ramps;
};

} // namespace Velmora::dsp
