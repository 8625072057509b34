// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"
#include "rigs/TestFiles.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

/// Plug-ins of the engine that was built along with the tests.
namespace orphia::test {

using plugin::PluginInstrument;

constexpr double pluginRate = 48000.0;

inline std::unique_ptr<PluginInstrument> Plugin(const std::filesystem::path& presets = {},
                                                PluginInstrument::Kind kind = PluginInstrument::Kind::Instrument) {
    return std::make_unique<PluginInstrument>(PluginInstrument::Options{kind, ORPHIA_ENGINE_LIBRARY, presets, 1});
}

/// What a host plays, in time; the voice is plain speech.
struct PluginSong {
    std::vector<host::TimedEvent> events;
    std::size_t frames = 24000;
    Sound voice = Syllables(1.0, 48000);
    bool hasVoice = true;
};

inline PluginSong Notes() {
    PluginSong song;
    song.events = {{0, host::MidiMessage{0x90, 48, 100}},
                   {777, host::MidiMessage{0x90, 55, 90}},
                   {12345, host::MidiMessage{0x80, 48, 0}}};
    return song;
}

/// From frame `from` on, in blocks of lengths that are asked for; interleaved.
inline std::vector<float> Play(PluginInstrument& plugin, const PluginSong& song,
                               const std::function<std::size_t()>& nextLength, std::size_t from = 0) {
    std::vector<float> left(song.frames), right(song.frames), result;
    for (std::size_t n = 0; n < song.frames; ++n) {
        left[n] = song.voice.samples[2 * (n % song.voice.Frames())];
        right[n] = song.voice.samples[2 * (n % song.voice.Frames()) + 1];
    }
    for (std::size_t at = from; at < song.frames;) {
        const std::size_t count = std::min(nextLength(), song.frames - at);
        std::vector<host::TimedEvent> events;
        for (const host::TimedEvent& event : song.events) {
            if (event.frame >= at && event.frame < at + std::max<std::size_t>(count, 1)) {
                events.push_back({static_cast<std::uint32_t>(event.frame - at), event.what});
            }
        }
        // A call without frames takes the events of the frame that follows; they must not come twice.
        std::vector<host::TimedEvent> none;
        float* const sound[] = {left.data() + at, right.data() + at};
        plugin.Process({sound, song.hasVoice ? 2U : 0U, sound, static_cast<std::uint32_t>(count),
                        count == 0 ? none : events, nullptr});
        at += count;
    }
    for (std::size_t n = from; n < song.frames; ++n) {
        result.insert(result.end(), {left[n], right[n]});
    }
    return result;
}

inline std::vector<float> Play(PluginInstrument& plugin, const PluginSong& song, std::size_t block = 64) {
    return Play(plugin, song, [block] { return block; });
}

inline float Loudest(const std::vector<float>& sound) {
    float loudest = 0.0F;
    for (const float sample : sound) {
        loudest = std::max(loudest, std::abs(sample));
    }
    return loudest;
}

} // namespace orphia::test
