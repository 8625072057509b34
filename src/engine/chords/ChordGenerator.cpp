// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/chords/ChordGenerator.h"

#include "dsp/framework/ParameterDeclaration.h"

#include <bit>
#include <utility>

namespace Velmora::engine {

using dsp::Event;
using dsp::EventQueue;

namespace {

/// All of a chord but the key's own note.
constexpr u32 aboveOwnNote = ~ChordKeys::ownNote;

constexpr u32 Bit(u32 interval) { return 1U << interval; }

std::vector<dsp::ModuleParam> Records() {
    std::vector<dsp::ParameterDeclaration> switches{dsp::Declare::Switch("ChordOn"),
                                                    dsp::Declare::Switch("RecordMode")};
    for (u32 i = 1; i <= ChordGenerator::maxIntervals; ++i) {
        switches.push_back(dsp::Declare::Switch(std::string("ChordKey").append(std::to_string(i))));
    }
    return dsp::RecordsOf(switches);
}

} // namespace

ChordGenerator::ChordGenerator(std::string moduleName) : UnitModule(std::move(moduleName), 0, 0, Records()) {}

void ChordGenerator::OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) {}

void ChordGenerator::OnReset(bool /*hard*/) { flushRequested = true; }

bool ChordGenerator::UpdateParameters(dsp::ProcessContext& context) {
    if (flushRequested && context.outputEvents != nullptr) {
        // Their note-offs may never come.
        keys.LiftAll();
        EndNotes(*context.outputEvents, 0);
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
            LetGo(aboveOwnNote);
        }
    }
}

/// Flags that move while the stage is off are read when it goes on; when it does so during a take, after it.
void ChordGenerator::UpdateIntervals() {
    const bool isOn = Value(ChordOn) > 0.5F;
    flagsAreUnread = isOn && (flagsAreUnread || Changed(ChordOn));
    if (!(Changed(ChordOn) || isOn) || !(Value(RecordMode) < 0.5F)) {
        return;
    }
    const bool readAll = std::exchange(flagsAreUnread, false);
    const u32 former = intervals;
    for (u32 i = 0; i < maxIntervals; ++i) {
        if (readAll || Changed(ChordKey1 + i)) {
            intervals &= ~Bit(i);
            intervals |= GetParameterNormalized(ChordKey1 + i) > 0.5F ? Bit(i) : 0;
        }
    }
    if (const u32 gone = former & ~intervals & aboveOwnNote; gone != 0) {
        LetGo(gone);
    }
}

void ChordGenerator::UpdateRecording() {
    if (!Changed(RecordMode)) {
        return;
    }
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
    LetGo(aboveOwnNote);
    intervals = 0;
    Take(0);
    for (; note < NoteSet::size && note - root < maxIntervals; note = recordedNotes.Next(note + 1)) {
        Take(note - root);
    }
}

void ChordGenerator::Take(u32 interval) {
    SetParameterNormalized(ChordKey1 + interval, 1.0F);
    intervals |= Bit(interval);
}

void ChordGenerator::LetGo(u32 gone) {
    keys.LetGo(gone);
    hasEnds = true;
}

void ChordGenerator::EndNotes(EventQueue& output, u32 velocity) {
    // What a full queue does not take is for the next block.
    hasEnds = !keys.EndUnheld(output, velocity);
}

bool ChordGenerator::Process(dsp::ProcessContext& context) {
    if (context.outputEvents == nullptr) {
        return true;
    }
    EventQueue& output = *context.outputEvents;
    if (hasEnds) {
        EndNotes(output, 0);
    }
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
        }
    }
    return true;
}

/// A take is heard as it is played; its first note ends the former chord.
void ChordGenerator::Record(const Event& event, const NoteEvent& note, EventQueue& output) {
    if (note.IsKey(NoteEvent::On)) {
        if (recordedNotes.IsEmpty()) {
            keys.LetGo(aboveOwnNote);
            EndNotes(output, 0);
        }
        recordedNotes.Set(note.number);
    }
    Copy(event, note, output);
}

void ChordGenerator::Play(const Event& event, const NoteEvent& note, EventQueue& output) {
    if (note.kind == NoteEvent::Other) {
        output.Append(event);
    } else if (note.IsKey(NoteEvent::On)) {
        u32 started = 0;
        for (u32 rest = intervals; rest != 0; rest &= rest - 1) {
            const auto interval = static_cast<u32>(std::countr_zero(rest));
            const u32 number = note.number + interval;
            if (number < NoteSet::size &&
                output.AppendMidi(static_cast<u8>(NoteEvent::noteOnStatus | note.channel),
                                  static_cast<u8>(number), static_cast<u8>(note.velocity))) {
                keys.CountStart(note.channel, number);
                started |= Bit(interval);
            }
        }
        keys.Press(note, started);
    } else if (note.IsKey(NoteEvent::Off)) {
        keys.Lift(note);
        EndNotes(output, note.velocity);
    }
}

void ChordGenerator::Copy(const Event& event, const NoteEvent& note, EventQueue& output) {
    const bool isSent = output.Append(event);
    if (note.IsKey(NoteEvent::On) && isSent) {
        keys.CountStart(note.channel, note.number);
        keys.Press(note, ChordKeys::ownNote);
    } else if (note.IsKey(NoteEvent::Off)) {
        if (isSent) {
            keys.CountEnd(note.channel, note.number);
        }
        keys.Lift(note);
        EndNotes(output, note.velocity);
    }
}

} // namespace Velmora::engine
