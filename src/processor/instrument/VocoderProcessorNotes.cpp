// SPDX-License-Identifier: GPL-3.0-or-later
// Notes and expression on their way to the sections.
#include "processor/instrument/VocoderProcessor.h"

#include <algorithm>

namespace Velmora::Processor {

/// A key of the selecting octave chooses a sample and nothing else. This is decided as it goes down and not
/// again: what started must stop, whatever changed in between.
bool VocoderProcessor::SelectsSlot(u32 note) {
    return Modulator().KeysSelectSlots() && Modulator().IsInSelectingOctave(note);
}

void VocoderProcessor::NoteOn(const engine::NoteInfo& note) {
    Modulator().NoteOn(note.note);
    if (SelectsSlot(note.note)) {
        ForgetHeldNote(note);
        return;
    }
    VoiceManager::NoteOn(note);
}

void VocoderProcessor::NoteOff(const engine::NoteInfo& note) {
    Modulator().NoteOff(note.note);
    // Also for a key that selects: it may play a voice, if it went down before it came to select.
    VoiceManager::NoteOff(note);
}

/// Keys that select a slot are none that a glide could come from.
u32 VocoderProcessor::NotesForGlide() {
    return Modulator().KeysSelectSlots() ? Modulator().HeldKeyCount() : HeldNoteCount();
}

void VocoderProcessor::StartVoice(u32 voice, const engine::NoteInfo& note, bool stealing) {
    StartVoiceExpression(voice, note.channel);
    if (NotesForGlide() < 2 && !IsReturning()) {
        // Only notes that are tied to a held one glide. On the way back, the key just let go was held.
        CarrierSynth().Glide().Reset(false);
    }
    CarrierSynth().Glide().StartNote(voice, note.note, mtsClient.get(), note.channel);
    CarrierSynth().SetVoiceFrequency(voice, PitchOffset(voice));
    Modulations().WriteVoiceSource(voice, VelocitySource, static_cast<float>(note.velocity) * 0.007874016F);
    const float key = static_cast<float>(note.note) * 0.016666668F - 1.0F;
    Modulations().WriteVoiceSource(voice, KeySource, std::clamp(key, -1.0F, 1.0F));
    if (!stealing) {
        CarrierSynth().Voice(voice).Reset(false);
        CarrierSynth().Voice(voice).Envelope().Restart();
        CarrierSynth().Killer(voice).LetPass();
        Modulations().VoiceOn(static_cast<i32>(voice));
    }
}

void VocoderProcessor::ReleaseVoiceHook(u32 voice) {
    ReleaseVoiceExpression(voice);
    CarrierSynth().Glide().ReleaseVoice(voice, NewestHeldVoice(static_cast<i32>(voice)));
    CarrierSynth().Voice(voice).Envelope().SetGate(false);
    if (HeldNoteCount() == 0) {
        Modulations().WriteGlobalSource(AftertouchSource, 0.0F);
    }
}

void VocoderProcessor::OnPerVoiceAftertouch(bool perVoice) {
    Modulations().Matrix().SetSourceGlobal(AftertouchSource, !perVoice);
}

void VocoderProcessor::WriteVoiceAftertouch(u32 voice, float value) {
    Modulations().WriteVoiceSource(voice, AftertouchSource, value);
}

void VocoderProcessor::WriteGlobalAftertouch(float value) {
    Modulations().WriteGlobalSource(AftertouchSource, value);
}

void VocoderProcessor::WriteVoiceBrightness(u32 voice, float value) {
    Modulations().WriteVoiceSource(voice, BrightnessSource, value);
}

i32 VocoderProcessor::FindExpressionVoice(u8 note, u8 channel, u32 from) const {
    for (const u32 voice : VoiceManager::ActiveVoices()) {
        const auto& info = Voice(voice);
        if (voice >= from && info.note.note == note && info.note.channel == channel) {
            return static_cast<i32>(voice);
        }
    }
    return noVoice;
}

} // namespace Velmora::Processor
