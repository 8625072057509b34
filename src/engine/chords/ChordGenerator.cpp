// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/chords/ChordGenerator.h"

#include "dsp/framework/ParameterDeclaration.h"

#include <algorithm>
#include <utility>

namespace Velmora::engine {

using dsp::Event;
using dsp::EventQueue;

namespace {

std::vector<dsp::ModuleParam> Records() {
    std::vector<dsp::ParameterDeclaration> switches{dsp::Declare::Switch("ChordOn"),
                                                    dsp::Declare::Switch("RecordMode")};
    for (u32 i = 1; i <= ChordGenerator::maxIntervals; ++i) {
        switches.push_back(dsp::Declare::Switch(std::string("ChordKey").append(std::to_string(i))));
    }
    return dsp::RecordsOf(switches);
}

} // namespace

ChordGenerator::ChordGenerator(std::string moduleName) : UnitModule(std::move(moduleName), 0, 0, Records()) {
    intervals.reserve(maxIntervals);
    pendingOff.reserve(maxIntervals);
}

void ChordGenerator::OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) {}

void ChordGenerator::OnReset(bool /*hard*/) { flushRequested = true; }

bool ChordGenerator::UpdateParameters(dsp::ProcessContext& context) {
    if (flushRequested && context.outputEvents != nullptr) {
        ReleaseAll();
        ReleaseIntervals(*context.outputEvents, true);
        // Their note-offs may never come.
        pressedKeys = {};
        flushRequested = false;
    }
    if (anyParameterChanged) {
        UpdateChordOn();
        UpdateIntervals();
        UpdateRecording();
    }
    return true;
}

void ChordGenerator::UpdateChordOn() {
    if (Changed(ChordOn)) {
        const bool wasOn = std::exchange(chordOn, Value(ChordOn) > 0.5F);
        if (wasOn && !chordOn) {
            ReleaseAll();
        }
    }
}

/// Flags that move while the stage is off are read when it goes on.
void ChordGenerator::UpdateIntervals() {
    const bool isOn = Value(ChordOn) > 0.5F;
    if (!(Changed(ChordOn) || isOn) || !(Value(RecordMode) < 0.5F)) {
        return;
    }
    const bool readAll = Changed(ChordOn) && isOn;
    for (u8 i = 0; i < maxIntervals; ++i) {
        if (!readAll && !Changed(ChordKey1 + i)) {
            continue;
        }
        if (GetParameterNormalized(ChordKey1 + i) > 0.5F) {
            Insert(i);
        } else {
            Remove(i);
        }
    }
}

void ChordGenerator::UpdateRecording() {
    if (!Changed(RecordMode)) {
        return;
    }
    recordDone = false;
    if (recording && Value(RecordMode) < 0.5F) {
        FinishRecording();
    }
    recordedNotes.Clear();
    recording = Value(RecordMode) > 0.5F;
}

/// A take needs two notes within reach of each other, or the former chord stays.
void ChordGenerator::FinishRecording() {
    const u32 root = recordedNotes.Next(0);
    u32 note = recordedNotes.Next(root + 1);
    if (note >= NoteSet::size || note - root >= maxIntervals) {
        return;
    }
    // The setter is the virtual one, so that observers hear of the new flags as of any others.
    for (u32 i = 1; i < maxIntervals; ++i) {
        SetParameterNormalized(ChordKey1 + i, 0.0F);
    }
    ReleaseAll();
    intervals.assign(1, 0);
    Take(note - root, note);
    Take(0, root);
    recordDone = true;
    for (note = recordedNotes.Next(note + 1); note < NoteSet::size && note - root < maxIntervals;
         note = recordedNotes.Next(note + 1)) {
        Take(note - root, note);
    }
}

void ChordGenerator::Take(u32 interval, u32 note) {
    SetParameterNormalized(ChordKey1 + interval, 1.0F);
    Insert(static_cast<u8>(interval));
    heldNotes.Clear(note);
}

void ChordGenerator::Insert(u8 interval) {
    const auto place = std::lower_bound(intervals.begin(), intervals.end(), interval);
    if (intervals.size() < maxIntervals && (place == intervals.end() || *place != interval)) {
        intervals.insert(place, interval);
    }
}

void ChordGenerator::Remove(u8 interval) {
    const auto place = std::lower_bound(intervals.begin(), intervals.end(), interval);
    if (place != intervals.end() && *place == interval) {
        intervals.erase(place);
        ReleaseLater(interval);
    }
}

void ChordGenerator::ReleaseAll() {
    for (const u8 interval : intervals) {
        ReleaseLater(interval);
    }
}

void ChordGenerator::ReleaseLater(u8 interval) {
    if (std::find(pendingOff.begin(), pendingOff.end(), interval) == pendingOff.end()) {
        pendingOff.push_back(interval);
    }
}

/// Releases the pending intervals of every held key. A note whose own key is held goes on, unless forced.
void ChordGenerator::ReleaseIntervals(EventQueue& events, bool force) {
    if (!pendingOff.empty()) {
        for (u32 held = heldNotes.Next(0); held < NoteSet::size; held = heldNotes.Next(held + 1)) {
            for (const u8 interval : pendingOff) {
                const u32 note = held + interval;
                if (note < NoteSet::size && (force || !heldNotes.Contains(note))) {
                    EmitOff(events, 0, note, 0);
                }
            }
        }
    }
    pendingOff.clear();
}

bool ChordGenerator::Process(dsp::ProcessContext& context) {
    if (context.outputEvents == nullptr) {
        return true;
    }
    EventQueue& output = *context.outputEvents;
    ReleaseIntervals(output, false);
    if (context.inputEvents != nullptr) {
        for (const Event& event : *context.inputEvents) {
            const NoteEvent note(event);
            if (recording) {
                Record(event, note, output);
            } else if (chordOn) {
                Play(event, note, output);
            } else {
                Copy(event, note, output);
            }
            MoveKey(note);
        }
    }
    ReleaseForgotten(output);
    return true;
}

/// A take is heard as it is played; its first note ends the former chord.
void ChordGenerator::Record(const Event& event, const NoteEvent& note, EventQueue& output) {
    if (note.IsKey(NoteEvent::On)) {
        heldNotes.Set(note.number);
        if (recordedNotes.IsEmpty()) {
            ReleaseAll();
            ReleaseIntervals(output, true);
        }
        recordedNotes.Set(note.number);
    }
    Copy(event, note, output);
}

void ChordGenerator::Play(const Event& event, const NoteEvent& note, EventQueue& output) {
    if (note.kind == NoteEvent::Other) {
        output.Append(event);
        return;
    }
    if (note.number >= NoteSet::size) {
        return;
    }
    if (note.kind == NoteEvent::On) {
        heldNotes.Set(note.number);
    } else {
        heldNotes.Clear(note.number);
    }
    for (const u8 interval : intervals) {
        const u32 number = note.number + interval;
        if (number >= NoteSet::size) {
            break;
        }
        if (note.kind == NoteEvent::On) {
            EmitOn(output, note, number);
        } else {
            EmitOff(output, note.channel, number, note.velocity);
        }
    }
}

void ChordGenerator::Copy(const Event& event, const NoteEvent& note, EventQueue& output) {
    if (!output.Append(event)) {
        return;
    }
    if (note.IsKey(NoteEvent::On)) {
        CountStart(note, note.number);
    } else if (note.IsKey(NoteEvent::Off)) {
        soundingNotes.End(note.number);
    }
}

void ChordGenerator::EmitOn(EventQueue& events, const NoteEvent& note, u32 number) {
    if (events.AppendMidi(static_cast<u8>(NoteEvent::noteOnStatus | note.channel), static_cast<u8>(number),
                          static_cast<u8>(note.velocity))) {
        CountStart(note, number);
    }
}

/// A key that is struck again before it came up will be let go once.
void ChordGenerator::CountStart(const NoteEvent& key, u32 number) {
    if (pressedKeys.Contains(key.number)) {
        soundingNotes.StartOnce(number);
    } else {
        soundingNotes.Start(number);
    }
}

void ChordGenerator::EmitOff(EventQueue& events, u32 channel, u32 note, u32 velocity) {
    if (events.AppendMidi(static_cast<u8>(NoteEvent::noteOffStatus | channel), static_cast<u8>(note),
                          static_cast<u8>(velocity))) {
        soundingNotes.End(note);
    }
}

void ChordGenerator::MoveKey(const NoteEvent& note) {
    if (note.IsKey(NoteEvent::On)) {
        pressedKeys.Set(note.number);
    } else if (note.IsKey(NoteEvent::Off)) {
        pressedKeys.Clear(note.number);
    }
}

/// When flags or modes move under held keys, a key may come up without the intervals that it went down with,
/// and a full queue may drop its end. Nothing may sound on once no key is down.
void ChordGenerator::ReleaseForgotten(EventQueue& events) {
    if (!pressedKeys.IsEmpty()) {
        return;
    }
    heldNotes.Clear();
    const NoteSet& sounding = soundingNotes.Notes();
    for (u32 note = sounding.Next(0); note < NoteSet::size; note = sounding.Next(note + 1)) {
        for (u32 missing = soundingNotes.EndsMissing(note); missing > 0; --missing) {
            EmitOff(events, 0, note, 0);
        }
    }
}

} // namespace Velmora::engine
