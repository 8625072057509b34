// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/CarrierSession.h"
#include "host/MidiControls.h"
#include "host/MidiFile.h"
#include "host/ParameterCatalog.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace orphia::host {

/// Plays a song on a carrier. An event acts at the start of the engine's block that its time lies in, so up
/// to a millisecond early. A block takes 256 notes; what is beyond them, and what stands behind a pedal
/// that may not yet move, comes in the next block, in order.
///
/// At the end of the song, and at a message that ends all notes, each note that is still on gets its
/// note-off.
class MidiPlayer {
public:
    /// File and session must outlive this.
    MidiPlayer(const MidiFile& file, CarrierSession& session, const ParameterCatalog& catalog);

    /// The next frames, interleaved stereo. In pieces of whole engine blocks the result does not depend on
    /// the pieces; a last block that is not whole should be the end. After the song it goes on in silence.
    void Process(std::span<float> output);

    /// The song is over and all its events are played; what still sounds fades.
    bool IsDone() const { return finished && pending.empty(); }
    /// Of the whole song, at the session's rate.
    std::uint64_t SongFrames() const;
    /// Note-ons in the file.
    std::size_t NoteCount() const { return noteCount; }

private:
    static constexpr unsigned keyCount = 128;

    void ProcessBlock(std::span<float> output);
    void Queue(const MidiMessage& message);
    void QueueNoteOffs(unsigned channel);
    void QueueEnd();
    void TakePending();
    bool Take(const MidiMessage& message);
    void ApplyGain(std::span<float> output);

    const MidiFile& file;
    CarrierSession& session;
    std::size_t noteCount = 0;
    MidiControls controls;
    std::size_t nextEvent = 0;
    std::uint64_t framesDone = 0;
    bool finished = false;

    /// What is due, in order, and not yet played.
    std::deque<MidiMessage> pending;
    /// The voice events of the block at hand.
    std::vector<MidiMessage> blockEvents;
    bool pedalMoved = false;
    /// How often each key is down once all that is pending is played.
    std::array<std::array<std::uint32_t, keyCount>, MidiControls::channelCount> keysDown{};

    float gain = 1.0F;
    float gainStep;
};

} // namespace orphia::host
