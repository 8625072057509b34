// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "dsp/framework/UnitModule.h"
#include "engine/chords/ChordNotes.h"

#include <string>
#include <vector>

namespace Velmora::engine {

/// Turns each played note into a chord: the events of the host come in, those for the voices go out. A chord
/// is a set of intervals of 0 to 24 semitones above the played note, which sounds itself only with interval
/// 0. The intervals are set by flags or recorded: what is played while "RecordMode" is on becomes the chord
/// when it goes off, counted from its lowest note, and the flags follow.
///
/// Works on `inputEvents` and `outputEvents` of the context; without an output queue nothing happens. The
/// caller empties the output before each block. There is no audio. Audio thread only.
class ChordGenerator : public dsp::UnitModule {
public:
    static constexpr u8 maxIntervals = 25;
    /// ChordKey1 + i is the flag of the interval of i semitones.
    enum Parameter : u32 { ChordOn, RecordMode, ChordKey1 };
    static constexpr u32 parameterCount = ChordKey1 + maxIntervals;

    explicit ChordGenerator(std::string moduleName = "ChordGenerator");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// The next control-rate tick releases what sounds.
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// The last take gave a chord.
    bool HasRecorded() const { return recordDone; }

private:
    void UpdateChordOn();
    void UpdateIntervals();
    void UpdateRecording();
    void FinishRecording();
    void Take(u32 interval, u32 note);

    void Insert(u8 interval);
    void Remove(u8 interval);
    void ReleaseAll();
    void ReleaseLater(u8 interval);
    void ReleaseIntervals(dsp::EventQueue& events, bool force);

    void Record(const dsp::Event& event, const NoteEvent& note, dsp::EventQueue& output);
    void Play(const dsp::Event& event, const NoteEvent& note, dsp::EventQueue& output);
    void Copy(const dsp::Event& event, const NoteEvent& note, dsp::EventQueue& output);

    void EmitOn(dsp::EventQueue& events, const NoteEvent& note, u32 number);
    void CountStart(const NoteEvent& key, u32 number);
    void EmitOff(dsp::EventQueue& events, u32 channel, u32 note, u32 velocity);
    void MoveKey(const NoteEvent& note);
    void ReleaseForgotten(dsp::EventQueue& events);

    bool chordOn = false;
    bool recording = false;
    bool recordDone = false;
    bool flushRequested = false;
    /// Ascending.
    std::vector<u8> intervals;
    /// Intervals whose notes are to be released under every held key, each at most once.
    std::vector<u8> pendingOff;
    /// The keys that chords are tied to: pressed since the chord stage or a take took part.
    NoteSet heldNotes;
    NoteSet recordedNotes;

    /// The keys that really are down, in every mode.
    NoteSet pressedKeys;
    SoundingNotes soundingNotes;
};

} // namespace Velmora::engine
