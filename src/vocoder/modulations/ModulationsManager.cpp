// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulations/ModulationsManager.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Velmora::Processor {

namespace {

using dsp::EnvFollower;
using dsp::LFO;

constexpr u32 globalDestinations = [] {
    u32 mask = 0;
    for (const Wire& wire : wiring) {
        mask |= wire.IsPerVoice() ? 0U : 1U << wire.destination;
    }
    return mask;
}();
constexpr u32 globalSources = 1U << FollowerSource | 1U << AftertouchSource | 1U << ModWheelSource;
constexpr u32 alwaysChanged = 1U << FollowerSource;

std::vector<dsp::ModuleParam> Parameters() {
    using namespace dsp::Declare;
    return dsp::RecordsOf({Raw("EnvFollower_Enable"), Raw("LFO_Enable"), Raw("Controls_Enable"),
                           Linear("EnvFollower_Input Gain", -60.0F, 30.0F, 0.0F),
                           Choice("LFO_InternalRateSyncedType", 4), Raw("LFO_InternalCycleMode"),
                           Raw("LFO_Retrig")});
}

/// Moves a voice to the end; no duplicates, so the reserved capacity is never exceeded.
void MoveToEnd(std::vector<u32>& list, u32 voice) {
    std::erase(list, voice);
    list.push_back(voice);
}

} // namespace

ModulationsManager::ModulationsManager(std::string moduleName)
    : ModuleContainer(std::move(moduleName), 2, 0, Parameters(),
                      std::make_tuple("Modulations",
                                      dsp::ModulationMasks{globalSources, globalDestinations, alwaysChanged}),
                      std::make_tuple(), std::make_tuple()) {
    voiceOrder.reserve(voiceSlotCount);
    startedVoices.reserve(voiceSlotCount);
    Lfos().runsAllClones = true;
    Lfos().SetParameterNormalized(LFO::ControlRate, 1.0F);
    Lfos().SetParameterNormalized(LFO::Stereo, 0.0F);
    Lfos().Redeclare(LFO::RateUnSynced, dsp::Curve::Exponential, 0.001F, 200.0F, 6.5F);
    Follower().SetParameterNormalized(EnvFollower::StereoInput, 1.0F);
    Matrix().SetMainVoice(static_cast<i32>(CurrentVoice()));
}

void ModulationsManager::OnInitialize(float /*sampleRate*/, u32 maxBlockSize) {
    buffers.Allocate(BufferCount, maxBlockSize);
    for (u32 voice = 0; voice < voiceSlotCount; ++voice) {
        ConnectWires(WiredModule::Lfo, lfoInputs[voice],
                     [&](u32 destination) { return Matrix().VoiceDestination(voice, destination).data(); });
    }
}

/// Whoever resets has stopped the voices, so that none may keep its row in the matrix.
void ModulationsManager::OnReset(bool /*hard*/) {
    for (const u32 voice : voiceOrder) {
        Matrix().SetVoiceActive(voice, false);
    }
    voiceOrder.clear();
    runningCount = 0;
}

void ModulationsManager::SeedRandom(u32 seed) {
    for (u32 voice = 0; voice < voiceSlotCount; ++voice) {
        Lfos().Clone(voice).Seed(seed + voice);
    }
}

void ModulationsManager::WriteVoiceSource(u32 voice, u32 source, float value) {
    Matrix().VoiceSource(voice, source)[0] = value;
    Matrix().MarkSourceChanged(source);
}

void ModulationsManager::WriteGlobalSource(u32 source, float value) {
    Matrix().GlobalSource(source)[0] = value;
    Matrix().MarkSourceChanged(source);
}

bool ModulationsManager::IsPositionOn(Parameter index) {
    return additional.parameters[index].GetNormalized() > 0.5F;
}

void ModulationsManager::VoiceOn(i32 voice) {
    if (voice < 0 || voice >= static_cast<i32>(voiceSlotCount)) {
        return;
    }
    const u32 slot = static_cast<u32>(voice);
    MoveToEnd(voiceOrder, slot);
    MoveToEnd(startedVoices, slot);
    ++runningCount;
    Matrix().SetMainVoice(voice);
    currentVoice[0] = slot;
    Matrix().SetVoiceActive(slot, true);
    const bool isOneShot = additional.parameters[LFOInternalCycleMode].GetNormalized() < 0.5F;
    if (IsPositionOn(LFORetrig) || isOneShot) {
        LFO& lfo = Lfos().Clone(slot);
        // A gate that was left open must rise all the same.
        lfo.SetParameterNormalized(LFO::GateIn, 0.0F);
        lfo.SetParameterNormalized(LFO::GateIn, 1.0F);
        lfo.Retrigger();
    }
}

void ModulationsManager::VoiceOff(i32 voice) {
    if (voice < 0 || voice >= static_cast<i32>(voiceSlotCount)) {
        return;
    }
    const u32 slot = static_cast<u32>(voice);
    if (runningCount != 0) {
        --runningCount;
    }
    if (additional.parameters[LFOInternalCycleMode].GetNormalized() < 0.5F) {
        Lfos().Clone(slot).SetParameterNormalized(LFO::GateIn, 0.0F);
    }
    const i32 mainVoice = Matrix().MainVoice();
    std::erase(voiceOrder, slot);
    Matrix().SetVoiceActive(slot, false);
    for (u32 source = LfoSource; source < ModulationSourceCount; ++source) {
        // What was cleared must leave the global destinations too.
        Matrix().MarkSourceChanged(source);
    }
    if (voice == mainVoice && !voiceOrder.empty()) {
        currentVoice[0] = voiceOrder.back();
        Matrix().SetMainVoice(static_cast<i32>(CurrentVoice()));
    }
}

bool ModulationsManager::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (additional.anyParameterChanged) {
        ApplySwitches();
        if (AdditionalChanged(LFOInternalRateSyncedType)) {
            ApplyRateType(static_cast<i32>(AdditionalValue(LFOInternalRateSyncedType)));
        }
        if (AdditionalChanged(LFOInternalCycleMode)) {
            ApplyCycleMode();
        }
        if (AdditionalChanged(EnvFollowerInputGain)) {
            inputGain = dsp::DecibelsToGain(AdditionalValue(EnvFollowerInputGain));
        }
    }
    return true;
}

void ModulationsManager::ApplySwitches() {
    if (AdditionalChanged(EnvFollowerEnable)) {
        SwitchSource(FollowerSource, AdditionalValue(EnvFollowerEnable) > 0.5F);
    }
    if (AdditionalChanged(LFOEnable)) {
        SwitchSource(LfoSource, AdditionalValue(LFOEnable) > 0.5F);
    }
    if (AdditionalChanged(ControlsEnable)) {
        // The envelope has no switch.
        for (u32 source = VelocitySource; source <= BrightnessSource; ++source) {
            SwitchSource(source, AdditionalValue(ControlsEnable) > 0.5F);
        }
    }
}

void ModulationsManager::SwitchSource(u32 source, bool on) {
    for (u32 d = 0; d < ModulationDestinationCount; ++d) {
        Matrix().SetParameterNormalized(ModulationMatrix::cellCount + ModulationMatrix::Cell(d, source),
                                        on ? 1.0F : 0.0F);
    }
}

void ModulationsManager::ApplyRateType(i32 type) {
    // Free, straight, dotted, triplet. The LFO counts straight, triplet, dotted.
    constexpr float typeOfLfo[] = {0.0F, 0.0F, 2.0F, 1.0F};
    if (type < 0 || type > 3) {
        return;
    }
    Lfos().SetParameterValue(LFO::MidiSync, type == 0 ? 0.0F : 1.0F);
    if (type != 0) {
        Lfos().SetParameterValue(LFO::RateSyncedType, typeOfLfo[type]);
    }
}

void ModulationsManager::ApplyCycleMode() {
    const float position = additional.parameters[LFOInternalCycleMode].GetNormalized();
    Lfos().SetParameterNormalized(LFO::Mode, position);
    for (u32 voice = 0; voice < voiceSlotCount; ++voice) {
        Lfos().Clone(voice).Retrigger();
    }
    if (position > 0.5F) {
        // Runs freely: no note has to open the gate.
        Lfos().SetParameterNormalized(LFO::GateIn, 1.0F);
    }
}

bool ModulationsManager::Process(dsp::ProcessContext& context) {
    RunFollower(context);
    RunLfos(context);
    Matrix().Process(context);
    return true;
}

void ModulationsManager::RunFollower(const dsp::ProcessContext& context) {
    const float* left = context.InputOrNull(0);
    const float* right = context.InputOrNull(1);
    left = left != nullptr ? left : buffers[Silence];
    const float* inputs[] = {left, right != nullptr ? right : left};
    float* outputs[] = {buffers[FollowerOut]};
    dsp::ProcessContext follower = context.ForChild(inputs, 2, outputs, 1);
    dsp::RunChild(Follower(), follower);
    // The matrix takes one value per block.
    Matrix().GlobalSource(FollowerSource)[0] = FollowerLevel(outputs[0][0]);
}

/// An amount that modulates the follower takes its share away from the base, and the modulation adds back up
/// to the full level.
float ModulationsManager::FollowerLevel(float level) {
    const float amount = Matrix().RowSum(FollowerAmountDestination);
    const float scaled = dsp::ClampToUnit(level * inputGain);
    if (amount == 0.0F) {
        return scaled;
    }
    const float base = dsp::ClampToUnit(1.0F - amount);
    return scaled * dsp::ClampToUnit(base + Matrix().GlobalDestination(FollowerAmountDestination)[0]);
}

std::span<const u32> ModulationsManager::LfoVoices() const {
    return voiceOrder.empty() ? std::span<const u32>(currentVoice) : std::span<const u32>(voiceOrder);
}

void ModulationsManager::RunLfos(const dsp::ProcessContext& context) {
    // A whole block of room: at audio rate an LFO fills it, and its source is the first sample.
    float* outputs[] = {buffers[LfoOut], buffers[LfoOut]};
    const bool isMoved = Matrix().IsDestinationRouted(LfoRateDestination) ||
                         Matrix().IsDestinationRouted(LfoAmountDestination);
    const bool isRouted = Matrix().IsSourceRouted(LfoSource);
    const float amount = Matrix().RowSum(LfoAmountDestination);
    dsp::ProcessContext child = context.ForChild(nullptr, 0, outputs, 2);
    for (const u32 voice : LfoVoices()) {
        if (isMoved) {
            child.inputs = lfoInputs[voice].data();
            child.numInputs = static_cast<u32>(lfoInputs[voice].size());
        }
        const float height = LfoHeight(voice, amount);
        // That of the newest voice is shown.
        const bool isHeard = (isRouted || voice == CurrentVoice()) && height != 0.0F;
        LFO& lfo = Lfos().Clone(voice);
        lfo.SetHeard(isHeard);
        dsp::RunChild(lfo, child);
        WriteLfo(voice, isHeard ? outputs[0][0] * height : 0.0F);
    }
}

/// As the follower's: an amount that modulates the height takes its share away from the base.
float ModulationsManager::LfoHeight(u32 voice, float amount) {
    if (amount == 0.0F) {
        return 1.0F;
    }
    const float base = dsp::ClampToUnit(1.0F - amount);
    return dsp::ClampToUnit(base + Matrix().VoiceDestination(voice, LfoAmountDestination)[0]);
}

/// One that stands still moves no destination.
void ModulationsManager::WriteLfo(u32 voice, float value) {
    float& source = Matrix().VoiceSource(voice, LfoSource)[0];
    if (source != value) {
        source = value;
        Matrix().MarkSourceChanged(LfoSource);
    }
}

} // namespace Velmora::Processor
