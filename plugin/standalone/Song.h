// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/midi/MidiFile.h"
#include "plugin/core/PluginInstrument.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace orphia::standalone {

/// Behind those of the same frame; allocates nothing as long as there is room.
void Insert(std::vector<host::TimedEvent>& events, const host::TimedEvent& event);

/// Files that take the place of the input and of the keys, and what becomes of the sound.
class Song {
public:
    /// Empty paths for none. Reads both to their ends. Throws FileError.
    Song(const std::filesystem::path& voice, const std::filesystem::path& midi, std::uint32_t sampleRate);

    /// Plays the next frames; the events of the block, which are `events`, get those of the song. Without a
    /// song a voice begins anew when it ends.
    void Play(plugin::PluginInstrument& instrument, plugin::PluginBlock block,
              std::vector<host::TimedEvent>& events);

    /// Song and voice are over, and it is silent or has gone on for long.
    bool IsDone() const { return isDone; }

    /// From now on all that is played is kept for Take, as far as it comes in time.
    void Record();
    /// What was played since, interleaved.
    void Take(std::vector<float>& samples);
    /// Frames that there was no room for.
    std::uint64_t Lost() const { return lost; }

private:
    void AddEvents(std::uint32_t frames, std::vector<host::TimedEvent>& events);
    void ReadVoice(std::uint32_t frames);
    void Keep(const float* const* sound, std::uint32_t frames);
    void Watch(const float* const* sound, std::uint32_t frames);

    std::uint32_t rate;
    std::optional<host::MidiFile> midi;
    std::size_t nextEvent = 0;
    bool hasEnded = false;
    std::vector<float> voice;
    std::array<std::vector<float>, 2> heard;
    std::uint64_t done = 0;
    std::uint64_t end = 0;
    std::uint64_t silent = 0;
    std::atomic<bool> isDone{false};

    /// A ring of interleaved samples.
    std::vector<float> kept;
    std::atomic<std::uint64_t> written{0};
    std::atomic<std::uint64_t> taken{0};
    std::atomic<std::uint64_t> lost{0};
};

} // namespace orphia::standalone
