// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/engine/BlockEngine.h"
#include "host/instrument/Instrument.h"
#include "host/midi/MidiFile.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace orphia::web {

/// An instrument on which a song can play while others play on it as well. An event of the song acts at the
/// start of the block in which its time lies, as with host::MidiPlayer.
class SongEngine final : public host::BlockEngine {
public:
    /// The instrument must outlive this.
    explicit SongEngine(host::Instrument& target) : instrument(target) {}

    /// Stops, and puts in another song.
    void Insert(host::MidiFile newSong);
    /// From the start.
    void Play();
    /// Its notes end.
    void Stop();
    bool IsPlaying() const { return isPlaying; }
    const host::MidiFile& Song() const { return song; }
    /// Where it is.
    double Seconds() const;

    std::uint32_t FramesPerBlock() const override { return instrument.FramesPerBlock(); }
    std::uint32_t LatencyFrames() const override { return instrument.LatencyFrames(); }
    bool Send(const host::MidiMessage& message) override { return instrument.Send(message); }
    void Set(const host::ParameterSetting& setting) override { instrument.Set(setting); }
    void ProcessBlock(const float* const* voice, std::uint32_t voiceChannels, float* const* output) override;

private:
    void SendDueEvents();
    void SendEnd();

    host::Instrument& instrument;
    host::MidiFile song;
    bool isPlaying = false;
    std::uint64_t framesDone = 0;
    std::size_t nextEvent = 0;
    /// Of the messages that end all notes; beyond the last one while there is nothing to end.
    std::uint32_t nextEnd = endCount;

    static constexpr std::uint32_t endCount = 32;
};

} // namespace orphia::web
