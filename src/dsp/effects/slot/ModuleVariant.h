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
/// is reset while it is silent, never while it can be heard. One that is late comes in when its own start has
/// passed. Only the selected module runs; the parameters of all of them live on.
///
/// A module that is late says so by `u32 Latency()`, in frames; one with echoes has `FadeIn()`, called after
/// a reset when it is about to sound.
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
        isIdle = IsOn(Bypass);
        bypassFade.Set(IsOn(CrossfadeOnBypass) && !isIdle ? 1.0F : 0.0F);
        TakeSelected();
        soundingType = cachedType;
        comesIn = false;
        framesToFill = 0;
    }

    bool UpdateParameters(ProcessContext& /*context*/) override {
        if (this->additional.anyParameterChanged) {
            isSettled = false;
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
        if (isSettled) {
            RunUnit(context, cachedType);
            return true;
        }
        const bool isFading = !bypassFade.IsAtTarget();
        const bool isPlain = !IsOn(Bypass) && !isFading;
        if (isPlain || (isFading && IsOn(CrossfadeOnBypass))) {
            RunActive(context);
        }
        if (!isPlain) {
            ApplyBypass(context, isFading);
        }
        framesToFill -= std::min(framesToFill, context.numFrames);
        isIdle = IsOn(Bypass) && bypassFade.IsAtTarget();
        if (isIdle) {
            TakeSelected();
        }
        isSettled = isPlain && framesToFill == 0 && changeFade.IsAtTarget() && cachedType == SelectedType();
        return true;
    }

    /// Frames by which what is heard now is late: those of the module that runs.
    u32 Latency() { return isIdle ? 0 : units[cachedType].LatencyInFrames(); }

    /// The type that runs: "ModuleType", or while that fades in the one before.
    u32 ActiveType() {
        if (!IsOn(FadeOnModuleChange)) {
            cachedType = SelectedType();
        }
        return cachedType;
    }

protected:
    /// Since a block that the module of this type rendered by itself nothing has changed: the next one is the
    /// same.
    bool RunsNothingBut(u32 type) const {
        return isSettled && cachedType == type && !this->additional.anyParameterChanged && !this->needsUpdate;
    }

    /// Records of a derived class follow the own ones. One tuple of constructor arguments per module.
    template <class... Arguments>
    ModuleVariant(std::string moduleName, std::vector<ModuleParam>&& furtherRecords, Arguments&&... arguments)
        : ModuleContainer<Modules...>(std::move(moduleName), 0, audioOutputs,
                                      Records(std::move(furtherRecords)),
                                      std::forward<Arguments>(arguments)...) {
        u32 type = 0;
        this->ForEachChild([&](auto& module) { units[type++] = Unit::Of(module); });
        this->numInputs = inputCount;
        bypassFade.time = bypassSeconds;
        changeFade.time = changeSeconds;
    }

private:
    static constexpr float bypassSeconds = 0.05F;
    static constexpr float changeSeconds = 0.025F;
    enum Ramp : u32 { BypassRamp, ChangeRamp };

    /// One of the modules; null is what it does not have.
    struct Unit {
        Module* module = nullptr;
        u32 (*latency)(Module&) = nullptr;
        void (*fadeIn)(Module&) = nullptr;

        template <class M>
        static Unit Of(M& module) {
            Unit unit{&module};
            if constexpr (requires { module.Latency(); }) {
                unit.latency = [](Module& late) { return static_cast<M&>(late).Latency(); };
            }
            if constexpr (requires { module.FadeIn(); }) {
                unit.fadeIn = [](Module& echoes) { static_cast<M&>(echoes).FadeIn(); };
            }
            return unit;
        }
        u32 LatencyInFrames() const { return latency != nullptr ? latency(*module) : 0; }
        /// For the next sound, in the middle of which it begins.
        void Restart() const {
            module->Reset(false);
            if (fadeIn != nullptr) {
                fadeIn(*module);
            }
        }
    };

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

    /// At once: for a slot of which nothing is heard.
    void TakeSelected() {
        cachedType = SelectedType();
        changeFade.Set(1.0F);
    }

    /// The module of the selected type comes in without the tail of its last use. One that sounds, since the
    /// type or the bypass went there and back, is left alone: see FadeChange.
    void PrepareSelected() {
        const u32 old = cachedType;
        const u32 selected = SelectedType();
        const bool sounds = !isIdle && selected == soundingType;
        if (!sounds && (!this->needsUpdate || old != selected)) {
            units[selected].Restart();
        }
        if (isIdle) {
            TakeSelected();
            comesIn = true;
        } else if (old != selected) {
            if (IsOn(FadeOnModuleChange)) {
                GlideTo(changeFade, 0.0F);
            } else {
                cachedType = selected;
                GlideTo(changeFade, 1.0F);
            }
        }
    }

    void UpdateBypassFade() {
        if (IsOn(CrossfadeOnBypass)) {
            // It may have come on just now: a crossfade starts from what is heard.
            if (bypassFade.IsAtTarget()) {
                bypassFade.Set(isIdle ? 0.0F : 1.0F);
            }
            GlideTo(bypassFade, IsOn(Bypass) ? 0.0F : 1.0F);
        } else if (this->AdditionalChanged(CrossfadeOnBypass)) {
            bypassFade.Set(0.0F);
        }
    }

    /// A fade that is told its target again goes on.
    static void GlideTo(SmootherSRL& fade, float target) {
        if (fade.target != target) {
            fade.Retarget(target);
        }
    }

    /// Of this block. A fade waits while the module that comes in is still late.
    void RenderRamp(SmootherSRL& fade, Ramp ramp, u32 frames) {
        if (framesToFill != 0) {
            std::fill_n(ramps[ramp], frames, fade.current);
        } else {
            fade.RenderBlock(ramps[ramp], frames);
        }
    }

    void RunActive(ProcessContext& context) {
        const u32 type = ActiveType();
        soundingType = type;
        RunUnit(context, type);
        if (comesIn) {
            framesToFill = units[type].LatencyInFrames();
            comesIn = false;
        }
        if (IsOn(FadeOnModuleChange) && !changeFade.IsAtTarget()) {
            FadeChange(context);
        }
    }

    void RunUnit(const ProcessContext& context, u32 type) {
        Module& unit = *units[type].module;
        std::copy_n(context.inputs, audioInputs, activeInputs.begin());
        std::copy_n(context.inputs + firstInputs[type], unit.numInputs - audioInputs,
                    activeInputs.begin() + audioInputs);
        ProcessContext child =
            context.ForChild(activeInputs.data(), unit.numInputs, context.outputs, audioOutputs);
        RunChild(unit, child);
    }

    /// At the bottom of the fade the selected type takes over, reset; also if it is the old one again, which
    /// could not be reset while it was heard.
    void FadeChange(const ProcessContext& context) {
        RenderRamp(changeFade, ChangeRamp, context.numFrames);
        Multiply(context, ramps[ChangeRamp]);
        if (changeFade.target == 0.0F && changeFade.current == 0.0F) {
            const u32 selected = SelectedType();
            if (selected == cachedType) {
                units[selected].Restart();
            }
            cachedType = selected;
            comesIn = true;
            changeFade.Retarget(1.0F);
        }
    }

    /// The outputs hold what the module gave, where it ran.
    void ApplyBypass(const ProcessContext& context, bool isFading) {
        const bool copies = IsOn(CopyOnBypass);
        if (isFading) {
            RenderRamp(bypassFade, BypassRamp, context.numFrames);
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

    std::array<Unit, typeCount> units{};
    std::array<const float*, std::max({Modules::inputCount...})> activeInputs{};
    u32 cachedType = 0;
    /// What ran last.
    u32 soundingType = 0;
    /// A bypass has settled: no module runs.
    bool isIdle = false;
    /// Nothing but the selected module runs, until a parameter changes.
    bool isSettled = false;
    /// The module that runs next was silent before.
    bool comesIn = false;
    /// Until it gives what it has heard since.
    u32 framesToFill = 0;
    SmootherSRL bypassFade;
    SmootherSRL changeFade;
    BlockPool ramps;
};

} // namespace Velmora::dsp
