// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/instrument/Instrument.h"
#include "host/midi/MidiFile.h"
#include "host/player/BlockAdapter.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>

namespace orphia::host {

/// Plays a song on an instrument, in blocks of the engine. An event acts at the start of the engine's block
/// that its time lies in, so up to a millisecond early; what the block does not take comes in the next one,
/// in order. At the end of the song each note that is still on gets its note-off. At another rate of the
/// instrument the song goes on; the notes that were down are over.
class ORPHIA_PUBLIC MidiPlayer {
public:
    /// File and instrument must outlive this; the wheels and pedals are this one's as long as it plays.
    MidiPlayer(const MidiFile& file, Instrument& instrument);

    /// The next frames, interleaved stereo, with a voice of the same length or none. In pieces of whole
    /// engine blocks the result does not depend on the pieces; a last block that is not whole should be the
    /// end. After the song it goes on without notes.
    void Process(std::span<const float> voice, std::span<float> output);
    void Process(std::span<float> output) { Process({}, output); }

    /// The song is over and all its events are played; what still sounds fades.
    bool IsDone() const { return finished && pending.empty(); }
    /// Of the whole song, at the instrument's rate.
    std::uint64_t SongFrames() const;
    /// Note-ons in the file.
    std::size_t NoteCount() const { return noteCount; }

private:
    void ProcessBlock(std::span<const float> voice, std::span<float> output);
    void FollowRate();
    double SecondsAt(std::uint64_t frame) const;
    void QueueEnd();

    const MidiFile& file;
    Instrument& instrument;
    BlockAdapter adapter;
    std::uint32_t rate;
    std::size_t noteCount = 0;
    std::size_t nextEvent = 0;
    /// At the present rate, and what was played at others.
    std::uint64_t framesDone = 0;
    double secondsBefore = 0.0;
    bool finished = false;

    /// What is due, in order, and not yet played.
    std::deque<MidiMessage> pending;
};

} // namespace orphia::host
