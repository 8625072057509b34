// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "dsp/framework/UnitModule.h"
#include "engine/chords/ChordKeys.h"

#include <string>

namespace Velmora::engine {

/// Turns each played note into a chord: the events of the host come in, those for the voices go out. A chord
/// is a set of intervals of 0 to 24 semitones above the played note, which sounds itself only with interval
/// 0. The intervals are set by flags or recorded: what is played while "RecordMode" is on becomes the chord
/// when it goes off, counted from its lowest note, and the flags follow.
///
/// A key that is down keeps its notes, whichever other key that shares them comes up; one whose chord changes
/// or goes off keeps its own note. A note ends as often as it was started.
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

    /// While channels are ignored, as they are at first, keys of one number are one key on all channels.
    void SetIgnoreChannel(bool ignore) { keys.SetIgnoreChannel(ignore); }

private:
    void UpdateChordOn();
    void UpdateIntervals();
    void UpdateRecording();
    void FinishRecording();
    void Take(u32 interval);
    void LetGo(u32 gone);

    void Record(const dsp::Event& event, const NoteEvent& note, dsp::EventQueue& output);
    void Play(const dsp::Event& event, const NoteEvent& note, dsp::EventQueue& output);
    void Copy(const dsp::Event& event, const NoteEvent& note, dsp::EventQueue& output);
    void EndNotes(dsp::EventQueue& output, u32 velocity);

    bool chordOn = false;
    bool recording = false;
    bool flushRequested = false;
    bool flagsAreUnread = false;
    /// Notes that no key holds any longer may sound.
    bool hasEnds = false;
    /// The chord, one bit per interval.
    u32 intervals = 0;
    NoteSet recordedNotes;
    ChordKeys keys;
};

} // namespace Velmora::engine
