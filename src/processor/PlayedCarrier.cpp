// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/PlayedCarrier.h"

#include "dsp/RunChild.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

using dsp::ModuleParam;

constexpr i32 linearId = 1;
constexpr i32 exponentialId = 4;
/// Voices by polyphony mode; the first two are the monophonic modes.
constexpr std::array<u32, 13> polyphonyTable = {1, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32};
constexpr u32 continuousTuningOfGlider =
    Carrier::FirstParameter<2>() + Carrier::VoiceGlider::continuousTuning;

std::vector<ModuleParam> Declare() {
    std::vector<ModuleParam> records;
    const auto add = [&records](ModuleParam record) { records.push_back(std::move(record)); };
    const auto addChannels = [&add](const std::string& name, auto&& make) {
        for (u32 channel = 0; channel < PlayedCarrier::channelCount; ++channel) {
            add(make(name + std::to_string(channel)));
        }
    };
    const auto bend = [](std::string name) {
        return ModuleParam::Mapped(std::move(name), linearId, -1.0F, 1.0F, 1.0F);
    };
    const auto raw = [](std::string name) { return ModuleParam(std::move(name)); };
    add(bend("VST3_PitchBend"));
    add(raw("VST3_CtrlModWheel"));
    add(raw("VST3_CtrlSustainOnOff"));
    add(raw("VST3_AfterTouch"));
    add(ModuleParam::Stepped("MPE_Enabled", 2, 0.0F, 1.0F));
    add(ModuleParam::Mapped("MPE_PitchRange", linearId, 2.0F, 96.0F, 1.0F));
    add(raw("MPE_GlobalBrightness"));
    add(ModuleParam::Stepped("MTS_Retuning_Mode", 2, 0.0F, 1.0F));
    addChannels("MPE_PitchBend_", bend);
    addChannels("MPE_Aftertouch_", raw);
    addChannels("MPE_Brightness_", raw);
    add(ModuleParam::Mapped("MasterVolume", exponentialId, -60.0F, 0.0F, -3.0F));
    add(ModuleParam::Mapped("Attack", exponentialId, 0.002F, 20.0F, 5.0F));
    add(ModuleParam::Mapped("Release", exponentialId, 0.002F, 20.0F, 4.0F));
    add(ModuleParam::Stepped("PolyphonyMode", 13, 0.0F, 1.0F));
    add(ModuleParam::Stepped("PitchBendRange", 24, 1.0F, 1.0F));
    return records;
}

} // namespace

PlayedCarrier::PlayedCarrier(std::string moduleName)
    : ModuleContainer(std::move(moduleName), 3, outputCount, Declare(), std::make_tuple(), std::make_tuple(),
                      std::make_tuple()) {
    Connect();
}

PlayedCarrier::PlayedCarrier(std::string moduleName, const std::string& tuningLibrary)
    : ModuleContainer(std::move(moduleName), 3, outputCount, Declare(), std::make_tuple(), std::make_tuple(),
                      std::make_tuple()),
      tuning(tuningLibrary) {
    Connect();
}

void PlayedCarrier::Connect() {
    Sound().Connect(Modulations(), *this, *this);
    Chords().Attach(Sound());
    Sound().SetTuningClient(&tuning);
    // At rest: a host that knows no bend plays in tune.
    additional.parameters[PitchBend].SetValue(0.0F);
    for (u32 channel = 0; channel < channelCount; ++channel) {
        additional.parameters[MpePitchBend + channel].SetValue(0.0F);
    }
    linkedIds.resize(RetuningMode + 1);
    linkedIds[RetuningMode].push_back(FirstParameter<2>() + continuousTuningOfGlider);
}

void PlayedCarrier::OnInitialize(float sampleRate, u32 maxBlockSize) {
    volume.Initialize(sampleRate, maxBlockSize);
    PrepareExpression(sampleRate, maxBlockSize);
}

void PlayedCarrier::OnReset(bool /*hard*/) {
    ResetAll();
    ResetExpression();
}

void PlayedCarrier::SeedNoise(u32 seed) {
    Sound().SeedNoise(seed);
    Modulations().SeedRandom(seed);
}

bool PlayedCarrier::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (additional.anyParameterChanged) {
        UpdateEnvelopes();
        UpdateControllers();
        UpdateMpe();
    }
    UpdateVolume();
    return true;
}

void PlayedCarrier::UpdateEnvelopes() {
    if (AdditionalChanged(Attack)) {
        Sound().SetParameterValue(dsp::ADSR::attack, AdditionalValue(Attack));
    }
    if (AdditionalChanged(Release)) {
        Sound().SetParameterValue(dsp::ADSR::release, AdditionalValue(Release));
    }
}

void PlayedCarrier::UpdateControllers() {
    if (AdditionalChanged(PitchBend) || AdditionalChanged(PitchBendRange)) {
        const float semitones = AdditionalValue(PitchBend) * AdditionalValue(PitchBendRange);
        Sound().SetBend(semitones);
        SetGlobalBend(semitones);
    }
    if (AdditionalChanged(ModWheel)) {
        Modulations().WriteGlobalSource(ModWheelSource, additional.parameters[ModWheel].GetNormalized());
    }
    if (AdditionalChanged(Aftertouch)) {
        SetGlobalAftertouch(AdditionalValue(Aftertouch));
    }
    if (AdditionalChanged(PolyphonyMode)) {
        SetPolyphonyMode(static_cast<i32>(AdditionalValue(PolyphonyMode)), polyphonyTable);
    }
    if (AdditionalChanged(Sustain)) {
        SetSustain(additional.parameters[Sustain].GetNormalized() > 0.5F);
    }
}

void PlayedCarrier::UpdateMpe() {
    if (AdditionalChanged(MpeEnabled)) {
        const bool isOn = AdditionalValue(MpeEnabled) > 0.5F;
        if (isOn != mpeIsOn) {
            mpeIsOn = isOn;
            SetMpeEnabled(isOn);
            tuning.UseMultiChannel(!isOn);
        }
    }
    if (AdditionalChanged(MpeGlobalBrightness)) {
        SetGlobalBrightness(AdditionalValue(MpeGlobalBrightness));
    }
    for (u8 channel = 0; channel < channelCount; ++channel) {
        if (AdditionalChanged(MpeAftertouch + channel)) {
            SetChannelPressure(channel, AdditionalValue(MpeAftertouch + channel));
        }
        if (AdditionalChanged(MpeBrightness + channel)) {
            SetChannelBrightness(channel, AdditionalValue(MpeBrightness + channel));
        }
        if (AdditionalChanged(MpePitchBend + channel) || AdditionalChanged(MpePitchRange)) {
            SetChannelBend(channel, AdditionalValue(MpePitchBend + channel) * AdditionalValue(MpePitchRange));
        }
    }
}

void PlayedCarrier::UpdateVolume() {
    if (AdditionalChanged(Volume)) {
        volume.SetTarget(AdditionalValue(Volume));
    }
    if (needsUpdate) {
        volume.Jump(AdditionalValue(Volume), VolumeModulation());
    }
}

bool PlayedCarrier::Process(dsp::ProcessContext& context) {
    if (context.numOutputs < outputCount) {
        return false;
    }
    RunChordStage(context);
    RunVoiceStage(context);
    UpdateExpression(VoiceManager::ActiveVoices());
    RunModulations(context);
    RunCarrier(context);
    ApplyVolume(context);
    return true;
}

void PlayedCarrier::RunChordStage(dsp::ProcessContext& context) {
    chordEvents.Clear();
    dsp::ProcessContext child = context.ForChild(nullptr, 0, nullptr, 0);
    child.inputEvents = context.inputEvents != nullptr ? context.inputEvents : &noEvents;
    child.outputEvents = &chordEvents;
    dsp::RunChild(Chords(), child);
}

void PlayedCarrier::RunVoiceStage(const dsp::ProcessContext& context) {
    AdvanceAge();
    for (const dsp::Event& event : chordEvents) {
        if (event.type == dsp::Event::midiType || event.type == dsp::Event::generatedType) {
            HandleEvent(event);
        }
    }
    ReapVoices();
    if (!mpeIsOn && context.inputEvents != nullptr) {
        RunKeyPressure(*context.inputEvents);
    }
}

void PlayedCarrier::RunKeyPressure(const dsp::EventQueue& events) {
    constexpr u8 statusMask = 0xF0;
    constexpr u8 channelMask = 0x0F;
    constexpr u8 keyPressure = 0xA0;
    constexpr u8 dataMask = 0x7F;
    for (const dsp::Event& event : events) {
        if ((event.midi[0] & statusMask) == keyPressure) {
            SetNotePressure(event.midi[1] & dataMask, event.midi[0] & channelMask,
                            static_cast<float>(event.midi[2] & dataMask) * 0.007874016F);
        }
    }
}

void PlayedCarrier::RunModulations(const dsp::ProcessContext& context) {
    const float* inputs[] = {context.InputOrNull(1), context.InputOrNull(2)};
    dsp::ProcessContext child = context.ForChild(inputs, 2, nullptr, 0);
    dsp::RunChild(Modulations(), child);
}

void PlayedCarrier::RunCarrier(const dsp::ProcessContext& context) {
    const float* inputs[] = {context.InputOrNull(0)};
    dsp::ProcessContext child = context.ForChild(inputs, 1, context.outputs, outputCount);
    dsp::RunChild(Sound(), child);
}

const float* PlayedCarrier::VolumeModulation() {
    ModulationMatrix& matrix = Modulations().Matrix();
    return matrix.IsDestinationRouted(MasterVolumeDestination)
               ? matrix.GlobalDestination(MasterVolumeDestination).data()
               : nullptr;
}

void PlayedCarrier::ApplyVolume(const dsp::ProcessContext& context) {
    volume.Apply(Modulations().Matrix().RowSum(MasterVolumeDestination), VolumeModulation(),
                 context.outputs[0], context.outputs[1], context.numFrames);
}

void PlayedCarrier::StartVoice(u32 voice, const engine::NoteInfo& note, bool stealing) {
    StartVoiceExpression(voice, note.channel);
    if (HeldNoteCount() < 2) {
        // Only notes that are tied to a held one glide.
        Sound().Glide().Reset(false);
    }
    Sound().Glide().StartNote(voice, note.note, &tuning, note.channel);
    Sound().SetVoiceFrequency(voice, PitchOffset(voice));
    Modulations().WriteVoiceSource(voice, VelocitySource, static_cast<float>(note.velocity) * 0.007874016F);
    const float key = static_cast<float>(note.note) * 0.016666668F - 1.0F;
    Modulations().WriteVoiceSource(voice, KeySource, std::clamp(key, -1.0F, 1.0F));
    if (!stealing) {
        Sound().Voice(voice).Reset(false);
        Sound().Voice(voice).PulseGate();
        Sound().Killer(voice).SetParameterValue(engine::VoiceKiller::state, 0.0F);
        Modulations().VoiceOn(static_cast<i32>(voice));
    }
}

void PlayedCarrier::ReleaseVoiceHook(u32 voice) {
    ReleaseVoiceExpression(voice);
    Sound().Glide().ReleaseVoice(voice, NewestHeldVoice(static_cast<i32>(voice)));
    Sound().Voice(voice).SetGate(false);
    if (HeldNoteCount() == 0) {
        Modulations().WriteGlobalSource(AftertouchSource, 0.0F);
    }
}

void PlayedCarrier::OnPerVoiceAftertouch(bool perVoice) {
    Modulations().Matrix().SetSourceGlobal(AftertouchSource, !perVoice);
}

void PlayedCarrier::WriteVoiceAftertouch(u32 voice, float value) {
    Modulations().WriteVoiceSource(voice, AftertouchSource, value);
}

void PlayedCarrier::WriteGlobalAftertouch(float value) {
    Modulations().WriteGlobalSource(AftertouchSource, value);
}

void PlayedCarrier::WriteVoiceBrightness(u32 voice, float value) {
    Modulations().WriteVoiceSource(voice, BrightnessSource, value);
}

i32 PlayedCarrier::FindExpressionVoice(u8 note, u8 channel, u32 from) const {
    for (const u32 voice : VoiceManager::ActiveVoices()) {
        const auto& info = Voice(voice);
        if (voice >= from && info.note.note == note && info.note.channel == channel) {
            return static_cast<i32>(voice);
        }
    }
    return engine::IAftertouchAndMPEManager<playedVoiceCount>::noVoice;
}

} // namespace Velmora::Processor
