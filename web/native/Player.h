// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/instrument/Instrument.h"
#include "host/player/BlockAdapter.h"
#include "web/native/SongEngine.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::web {

/// What the page plays: an instrument, a song, and texts in and out. Texts that tell something are JSON. All
/// but Process, Send, Move and the like throws what host/ throws.
class Player {
public:
    /// What one call of Process takes.
    static constexpr std::uint32_t mostFrames = 4096;
    static constexpr std::size_t meterCount = host::MeterReading::bandCount + 5;

    /// With a seed the noise repeats.
    Player(std::uint32_t rate, std::optional<std::uint32_t> seed);

    /// Left and right of the voice to come, and of the sound that came.
    float* Voice(std::size_t channel) { return voice[channel].data(); }
    float* Sound(std::size_t channel) { return sound[channel].data(); }
    void Process(std::uint32_t frames, std::uint32_t voiceChannels);
    std::uint32_t Latency() const { return adapter.Latency(); }

    void Send(const host::MidiMessage& message);
    void Move(std::uint32_t id, float position);
    float Position(std::uint32_t id) const { return instrument.Position(id); }
    void Panic();

    /// "NAME=VALUE", as a user writes it.
    void Set(std::string_view assignment);
    /// A parameter by its name: id, path, description, range, choices, start.
    std::string Describe(std::string_view name) const;
    /// A value with its unit.
    std::string ValueText(std::uint32_t id) const;

    /// Id, name and description of each built-in preset, and the paths of its samples.
    static std::string Presets();
    /// Each returns a line for whatever could not be taken over.
    std::string LoadNamed(std::string_view id);
    std::string LoadText(std::string_view text);
    std::string Capture(std::string name) const;

    SongEngine& Song() { return song; }
    /// The bytes of a MIDI file; length and number of notes.
    std::string InsertSong(std::string_view bytes);

    /// One channel of the sound that PutSound or LoadSample take next, to be filled.
    float* Channel(std::size_t channel, std::size_t frames);
    /// Lets a preset find the sound by a path.
    void PutSound(const std::string& path, std::uint32_t channels, std::uint32_t rate);
    /// Into a slot; the name is a file's.
    void LoadSample(std::uint32_t slot, std::string_view name, std::uint32_t channels, std::uint32_t rate);
    void ClearSample(std::uint32_t slot) { instrument.ClearSample(slot); }
    /// Of each slot: name and key.
    std::string Slots() const;

    /// Bands, hiss, buzz, the two overloads, and what the limiter took away in dB.
    const float* TakeMeters();
    std::string Messages();

private:
    std::string Load(const host::Preset& preset, std::vector<std::string> warnings);

    host::Instrument instrument;
    SongEngine song;
    host::BlockAdapter adapter;
    std::array<std::vector<float>, 2> voice;
    std::array<std::vector<float>, 2> sound;
    std::vector<host::TimedEvent> events;
    std::array<std::vector<float>, 2> decoded;
    std::array<float, meterCount> meters{};
};

} // namespace orphia::web
