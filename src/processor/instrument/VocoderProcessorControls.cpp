// SPDX-License-Identifier: GPL-3.0-or-later
// The control-rate tick of the instrument.
#include "dsp/envelopes/ADSR.h"
#include "dsp/math/Within.h"
#include "processor/instrument/VocoderProcessor.h"

namespace Velmora::Processor {

namespace {

/// Voices by polyphony mode; the first two are the monophonic modes.
constexpr std::array<u32, 13> polyphonyTable = {1, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32};
constexpr u32 currentSlot = VocoderModulator::ParameterId(VocoderModulator::CurrentSlot);
static_assert(currentSlot == 364);

} // namespace

bool VocoderProcessor::OnUpdateParameters(dsp::ProcessContext& /*context*/) {
    if (additional.anyParameterChanged) {
        if (AdditionalChanged(PresetLoading) && IsPresetLoading()) {
            Modulator().SetParameterNormalized(currentSlot, 0.0F);
        }
        UpdatePitchBend();
        if (AdditionalChanged(OutputSelection)) {
            outputSelection =
                static_cast<i32>(dsp::ToIndex(AdditionalValue(OutputSelection), VocoderOutput + 1));
        }
        UpdateEnvelopes();
        UpdateControllers();
        UpdateVoices();
    }
    UpdateVolume();
    if (additional.anyParameterChanged) {
        UpdateMpe();
    }
    return true;
}

void VocoderProcessor::UpdatePitchBend() {
    if (AdditionalChanged(PitchBend) || AdditionalChanged(PitchBendRange)) {
        const float semitones = AdditionalValue(PitchBend) * AdditionalValue(PitchBendRange);
        CarrierSynth().SetBend(semitones);
        SetGlobalBend(semitones);
    }
}

void VocoderProcessor::UpdateEnvelopes() {
    const auto forward = [this](u32 index, u32 envelopeId) {
        if (AdditionalChanged(index)) {
            CarrierSynth().SetParameterValue(envelopeId, AdditionalValue(index));
            Modulator().Section<VocoderModulator::Envelope>().SetParameterValue(envelopeId,
                                                                                AdditionalValue(index));
        }
    };
    forward(Attack, dsp::ADSR::Attack);
    forward(Release, dsp::ADSR::Release);
}

void VocoderProcessor::UpdateControllers() {
    if (AdditionalChanged(ModWheel)) {
        Modulations().WriteGlobalSource(ModWheelSource, ReservedPosition(ModWheel));
    }
    if (AdditionalChanged(Aftertouch)) {
        SetGlobalAftertouch(ReservedValue(Aftertouch));
    }
}

void VocoderProcessor::UpdateVoices() {
    if (AdditionalChanged(PolyphonyMode)) {
        SetPolyphonyMode(
            static_cast<i32>(dsp::ToIndex(AdditionalValue(PolyphonyMode), polyphonyTable.size())),
            polyphonyTable);
    }
    if (AdditionalChanged(Sustain)) {
        SetSustain(ReservedPosition(Sustain) > 0.5F);
    }
    if (AdditionalChanged(AllNotesOff) && ReservedPosition(AllNotesOff) > 0.5F) {
        ReleaseAllKeys();
    }
}

/// As if every key was let go, here and at the chord stage; the pedal still holds what it holds.
void VocoderProcessor::ReleaseAllKeys() {
    Chords().Reset(false);
    shortNotes.Clear();
    LiftAllKeys();
}

void VocoderProcessor::UpdateVolume() {
    const float decibels = AdditionalValue(Volume);
    if (AdditionalChanged(Volume)) {
        volume.SetTarget(decibels);
    }
    if (needsUpdate) {
        volume.Arrive(decibels, VolumeModulation());
    }
}

void VocoderProcessor::UpdateMpe() {
    if (AdditionalChanged(MpeEnabled)) {
        const bool isOn = ReservedValue(MpeEnabled) > 0.5F;
        if (isOn != mpeIsOn) {
            mpeIsOn = isOn;
            SetMpeEnabled(isOn);
            SetIgnoreChannel(!isOn);
            Chords().SetIgnoreChannel(!isOn);
            mtsClient->UseMultiChannel(!isOn);
        }
    }
    if (AdditionalChanged(MpeGlobalBrightness)) {
        SetGlobalBrightness(ReservedValue(MpeGlobalBrightness));
    }
    for (u8 channel = 0; channel < midiChannelCount; ++channel) {
        if (AdditionalChanged(MpeAftertouch + channel)) {
            SetChannelPressure(channel, AdditionalValue(MpeAftertouch + channel));
        }
        if (AdditionalChanged(MpeBrightness + channel)) {
            SetChannelBrightness(channel, AdditionalValue(MpeBrightness + channel));
        }
        if (AdditionalChanged(MpePitchBend + channel) || AdditionalChanged(MpePitchRange)) {
            SetChannelBend(channel, AdditionalValue(MpePitchBend + channel) * ReservedValue(MpePitchRange));
        }
    }
}

} // namespace Velmora::Processor
