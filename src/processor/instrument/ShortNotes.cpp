// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/instrument/ShortNotes.h"

#include "engine/chords/ChordNotes.h"

#include <algorithm>

namespace Velmora::Processor {

using engine::NoteEvent;
using engine::NoteInfo;
using engine::VoiceManager;

namespace {

NoteInfo KeyOf(const dsp::Event& event) {
    const NoteEvent note(event);
    return {static_cast<u8>(note.number), 0, static_cast<u8>(note.channel)};
}

} // namespace

ShortNotes::ShortNotes() {
    noteOns.reserve(dsp::EventQueue::capacity);
    noteOffs.reserve(dsp::EventQueue::capacity);
}

void ShortNotes::Clear() {
    noteOns.clear();
    noteOffs.clear();
}

template <class IsDue>
void ShortNotes::HandOn(VoiceManager& voices, IsDue isDue) {
    std::erase_if(noteOffs, [&](const dsp::Event& event) {
        const bool due = isDue(KeyOf(event));
        if (due) {
            voices.HandleEvent(event);
        }
        return due;
    });
}

void ShortNotes::BeginBlock(VoiceManager& voices) {
    noteOns.clear();
    HandOn(voices, [&voices](const NoteInfo& key) { return !voices.IsWaiting(key); });
}

void ShortNotes::Send(const dsp::Event& event, VoiceManager& voices) {
    const NoteEvent note(event);
    if (note.kind == NoteEvent::Other) {
        return;
    }
    const NoteInfo key = KeyOf(event);
    const auto isSame = [&](const NoteInfo& other) { return key.IsSameKey(other, voices.IgnoresChannel()); };
    const auto isSameOff = [&](const dsp::Event& waiting) { return isSame(KeyOf(waiting)); };
    if (note.kind == NoteEvent::On) {
        // Struck again: what waited belongs to the strike before.
        HandOn(voices, isSame);
        if (noteOns.size() < noteOns.capacity()) {
            noteOns.push_back(key);
        }
    } else if (noteOffs.size() < noteOffs.capacity() &&
               (std::any_of(noteOns.begin(), noteOns.end(), isSame) ||
                std::any_of(noteOffs.begin(), noteOffs.end(), isSameOff))) {
        noteOffs.push_back(event);
        return;
    }
    voices.HandleEvent(event);
}

} // namespace Velmora::Processor
