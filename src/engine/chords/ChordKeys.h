// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "engine/chords/ChordNotes.h"

#include <array>

namespace Velmora::engine {

/// The keys that are down, which notes each of them holds, and the notes that were started. A note ends when
/// no key holds it any longer, and then as often as it was started: a surplus note-off does no harm, a
/// missing one is a note for ever.
///
/// A chord is a set of intervals, one bit each; bit 0 is the key's own note. Each channel has its own keys
/// and notes; while channels are ignored, a key of any channel holds a note. Note numbers are below
/// NoteSet::size, channels below 16.
class ChordKeys {
public:
    static constexpr u32 ownNote = 1;

    void SetIgnoreChannel(bool ignore) { ignoreChannel = ignore; }

    /// The key is down and holds these intervals, besides those that it holds already.
    void Press(const NoteEvent& key, u32 intervals);
    /// The key is up; while channels are ignored, it is up on all.
    void Lift(const NoteEvent& key);
    void LiftAll();
    /// Every key lets go of these intervals.
    void LetGo(u32 intervals);

    void CountStart(u32 channel, u32 note) { sounding[channel].Start(note); }
    void CountEnd(u32 channel, u32 note) { sounding[channel].End(note); }
    /// Ends all notes that no key holds. False when the queue could not take all of it.
    bool EndUnheld(dsp::EventQueue& events, u32 velocity);

private:
    static constexpr u32 channelCount = 16;

    void AddHeldNotes(u32 channel, NoteSet& notes) const;
    bool EndUnheld(u32 channel, const NoteSet& heldNotes, dsp::EventQueue& events, u32 velocity);

    bool ignoreChannel = true;
    std::array<NoteSet, channelCount> pressed{};
    std::array<std::array<u32, NoteSet::size>, channelCount> intervalsOf{};
    std::array<SoundingNotes, channelCount> sounding{};
};

} // namespace Velmora::engine
