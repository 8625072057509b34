// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/chords/ChordKeys.h"

#include <bit>

namespace Velmora::engine {

void ChordKeys::Press(const NoteEvent& key, u32 intervals) {
    u32& held = intervalsOf[key.channel][key.number];
    held = (pressed[key.channel].Contains(key.number) ? held : 0) | intervals;
    pressed[key.channel].Set(key.number);
}

void ChordKeys::Lift(const NoteEvent& key) {
    for (u32 channel = 0; channel < channelCount; ++channel) {
        if (ignoreChannel || channel == key.channel) {
            pressed[channel].Clear(key.number);
        }
    }
}

void ChordKeys::LiftAll() { pressed.fill({}); }

void ChordKeys::LetGo(u32 intervals) {
    for (auto& keys : intervalsOf) {
        for (u32& held : keys) {
            held &= ~intervals;
        }
    }
}

void ChordKeys::AddHeldNotes(u32 channel, NoteSet& notes) const {
    const NoteSet& keys = pressed[channel];
    for (u32 key = keys.Next(0); key < NoteSet::size; key = keys.Next(key + 1)) {
        for (u32 rest = intervalsOf[channel][key]; rest != 0; rest &= rest - 1) {
            notes.Set(key + static_cast<u32>(std::countr_zero(rest)));
        }
    }
}

bool ChordKeys::EndUnheld(dsp::EventQueue& events, u32 velocity) {
    NoteSet heldByAny;
    for (u32 channel = 0; channel < channelCount && ignoreChannel; ++channel) {
        AddHeldNotes(channel, heldByAny);
    }
    bool isDone = true;
    for (u32 channel = 0; channel < channelCount; ++channel) {
        NoteSet held = heldByAny;
        AddHeldNotes(channel, held);
        isDone = EndUnheld(channel, held, events, velocity) && isDone;
    }
    return isDone;
}

bool ChordKeys::EndUnheld(u32 channel, const NoteSet& heldNotes, dsp::EventQueue& events, u32 velocity) {
    SoundingNotes& notes = sounding[channel];
    for (u32 note = notes.Notes().Next(0); note < NoteSet::size; note = notes.Notes().Next(note + 1)) {
        while (!heldNotes.Contains(note) && notes.EndsMissing(note) > 0) {
            if (!events.AppendMidi(static_cast<u8>(NoteEvent::noteOffStatus | channel), static_cast<u8>(note),
                                   static_cast<u8>(velocity))) {
                return false;
            }
            notes.End(note);
        }
    }
    return true;
}

} // namespace Velmora::engine
