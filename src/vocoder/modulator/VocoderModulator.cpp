// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/VocoderModulator.h"

#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"
#include "dsp/math/Xorshift.h"
#include "vocoder/modulator/ModulatorSetUp.h"

#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

using dsp::Compressor;

constexpr float fadeSeconds = 0.05F;
constexpr float chordSeconds = 0.03F;

constexpr std::array followersOfAmount = {Compressor::Threshold, Compressor::Ratio, Compressor::Attack,
                                          Compressor::Release};

} // namespace

VocoderModulator::VocoderModulator(std::string moduleName)
    : ModuleContainer(std::move(moduleName), inputCount, outputCount, ModulatorSetUp::OwnParameters(),
                      std::make_tuple("Sampler"), std::make_tuple("ADSR"), std::make_tuple("VoiceKiller"),
                      std::make_tuple("PitchTracker"), std::make_tuple("ParamEq"),
                      std::make_tuple("Compressor"), std::make_tuple("VoiceInputGate"),
                      std::make_tuple("VuMeter")) {
    linkedIds.resize(AdditionalCount);
    for (const u32 id : followersOfAmount) {
        linkedIds[CompressorAmount].push_back(FirstParameter<Dynamics>() + id);
    }
    cycle.SeedRandom(dsp::Xorshift::ClockSeed());
    equaliserFade.time = fadeSeconds;
    compressorFade.time = fadeSeconds;
    ModulatorSetUp::SetUpSampler(Child<Sampler>());
    ModulatorSetUp::SetUpEnvelope(Child<Envelope>());
    ModulatorSetUp::SetUpEqualiser(Child<Equaliser>());
    ModulatorSetUp::SetUpCompressor(Child<Dynamics>());
    ModulatorSetUp::SetUpInput(Child<Tracker>(), Child<Gate>());
}

void VocoderModulator::OnInitialize(float sampleRate, u32 maxBlockSize) {
    maxFrames = maxBlockSize;
    buffers.Allocate(bufferCount, maxBlockSize);
    chordFrames = static_cast<u64>(chordSeconds * sampleRate);
    externalGain.Prepare(sampleRate, 1);
    for (dsp::SmootherSRL* fade : {&equaliserFade, &compressorFade}) {
        fade->sampleRate = sampleRate;
        fade->decimation = 1;
        fade->Prepare();
    }
}

void VocoderModulator::OnReset(bool /*hard*/) {
    EndPlayback();
    externalGain.Set(dsp::BoundedDecibelsToGain(AdditionalValue(ExternalInputGain)));
    equaliserFade.Set(dsp::ClampToUnit(GetAdditionalNormalized(ParamEQOn)));
    compressorFade.Set(dsp::ClampToUnit(GetAdditionalNormalized(CompressorOn)));
    heldKeys = 0;
}

void VocoderModulator::SeedRandom(u32 seed) {
    cycle.SeedRandom(seed);
    Child<Sampler>().SeedRandomStart(seed + 1);
}

u32 VocoderModulator::IndexOf(u32 index, u32 count) const {
    return dsp::ToIndex(additional.parameters[index].PeekValue(), count);
}

bool VocoderModulator::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (additional.anyParameterChanged) {
        UpdatePlayback();
        UpdateSlotTable();
        UpdateSamplerSwitches();
        UpdateInput();
        UpdateTone();
        RunInterfaceTrigger();
    }
    return true;
}

void VocoderModulator::UpdatePlayback() {
    if (AdditionalChanged(SamplerPlayMode)) {
        EndPlayback();
        Child<Envelope>().Reset(false);
        Child<Sampler>().Reset(false);
        Child<Killer>().Reset(false);
        ChooseNextSlot(true);
        cycle.ClearTurn();
    }
    if (AdditionalChanged(CycleDirection)) {
        cycle.ClearTurn();
    }
}

void VocoderModulator::UpdateSlotTable() {
    for (u32 slot = 0; slot < slotCount; ++slot) {
        if (!AdditionalChanged(SlotSample + slot)) {
            continue;
        }
        const float sample = AdditionalValue(SlotSample + slot);
        if (slot == IndexOf(CurrentSlot, slotCount) && sample != slotTable[slot] && IsOn(IsPlayingSample)) {
            StopPlayback();
        }
        slotTable[slot] = sample;
    }
}

void VocoderModulator::UpdateSamplerSwitches() {
    for (u32 sample = 0; sample < sampleCount; ++sample) {
        if (AdditionalChanged(SampleLoopOn + sample)) {
            SetSamplerLoop(sample, AdditionalValue(SampleLoopOn + sample));
        }
    }
}

void VocoderModulator::UpdateInput() {
    if (AdditionalChanged(ExternalInput)) {
        Child<Tracker>().Reset(false);
    }
    if (AdditionalChanged(StopSampler) && IsOn(StopSampler)) {
        SetOwn(IsPlayingSample, 0.0F);
    }
    if (AdditionalChanged(CycleReset)) {
        ChooseNextSlot(true);
    }
    if (AdditionalChanged(ExternalInputGain)) {
        externalGain.SetTarget(dsp::BoundedDecibelsToGain(AdditionalValue(ExternalInputGain)));
    }
    if (AdditionalChanged(SelectedSlot) || AdditionalChanged(CurrentSlot)) {
        SetOwn(SelectedSlotIsCurrentSlot,
               AdditionalValue(SelectedSlot) == AdditionalValue(CurrentSlot) ? 1.0F : 0.0F);
    }
}

void VocoderModulator::UpdateTone() {
    // What is switched on starts with empty filters.
    if (AdditionalChanged(ParamEQOn)) {
        const float on = dsp::ClampToUnit(GetAdditionalNormalized(ParamEQOn));
        if (on > 0.5F) {
            Child<Equaliser>().Reset(false);
        }
        equaliserFade.Retarget(on);
    }
    if (AdditionalChanged(CompressorOn)) {
        const float on = dsp::ClampToUnit(GetAdditionalNormalized(CompressorOn));
        if (on > 0.5F) {
            Child<Dynamics>().Reset(false);
        }
        compressorFade.Retarget(on);
    }
    if (AdditionalChanged(CompressorAmount)) {
        UpdateCompressorAmount();
    }
}

/// The output gain that goes with one knob for the whole compressor: down, then up again against the loss.
void VocoderModulator::UpdateCompressorAmount() {
    constexpr std::array decibels = {0.0F, -6.0F, 1.0F, 1.0F};
    const float x = 2.0F * dsp::ClampToUnit(GetAdditionalNormalized(CompressorAmount));
    const float whole = std::floor(x);
    const auto i = static_cast<u32>(whole);
    const float gain = decibels[i] + (decibels[i + 1] - decibels[i]) * (x - whole);
    Child<Dynamics>().SetParameterValue(Compressor::OutputGain, gain);
}

/// The user interface plays the current slot as a key would that is pressed and let go; with no other key
/// held the sample plays through once.
void VocoderModulator::RunInterfaceTrigger() {
    if (!AdditionalChanged(SlotGUITrigger) || !(GetAdditionalNormalized(SlotGUITrigger) > 0.5F)) {
        return;
    }
    if (!IsOn(SamplerPlayMode)) {
        PlaySelectingNote(IndexOf(CurrentSlot, slotCount));
        framesSinceTrigger = 0;
    } else {
        const u32 sample = IndexOf(CycleNextSlotFromGUI, slotCount);
        if (HasSample(sample)) {
            SetOwn(CycleNextPlayingSlot, static_cast<float>(sample));
        }
    }
    SetOwn(SlotGUITrigger, 0.0F);
}

} // namespace Velmora::Processor
