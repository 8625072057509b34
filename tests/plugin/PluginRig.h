// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parameters/ParameterText.h"
#include "plugin/core/PluginInstrument.h"
#include "rigs/TestFiles.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

/// Plug-ins of the engine that was built along with the tests.
namespace orphia::test {

using plugin::PluginInstrument;

constexpr double pluginRate = 48000.0;
/// So many frames a beat that each frame's place is exact, however hosts tell it.
constexpr double framesPerExactBeat = 32768.0;
constexpr double exactTempo = 60.0 * pluginRate / framesPerExactBeat;

inline std::unique_ptr<PluginInstrument>
Plugin(const std::filesystem::path& presets = {},
       PluginInstrument::Kind kind = PluginInstrument::Kind::Instrument) {
    return std::make_unique<PluginInstrument>(
        PluginInstrument::Options{kind, ORPHIA_ENGINE_LIBRARY, presets, 1});
}

/// What a host plays, in time; the voice is plain speech. The beat jumps back where a loop ends.
struct PluginSong {
    std::vector<host::TimedEvent> events;
    std::size_t frames = 24000;
    Sound voice = Syllables(0.5, 48000);
    std::size_t loop = 9984;
    double tempo = exactTempo;
    bool hasTransport = true;

    host::Transport TransportAt(std::size_t frame) const {
        return {tempo, static_cast<double>(frame % loop) * tempo / (60.0 * pluginRate), true};
    }
};

inline PluginSong Notes() {
    PluginSong song;
    song.events = {{0, host::MidiMessage{0x90, 48, 100}},
                   {777, host::MidiMessage{0x90, 55, 90}},
                   {12345, host::MidiMessage{0x80, 48, 0}}};
    return song;
}

/// In blocks of lengths that are asked for, in place; interleaved. A call without frames gets the events of
/// the frame that follows.
inline std::vector<float> Play(PluginInstrument& plugin, const PluginSong& song,
                               const std::function<std::size_t()>& nextLength) {
    std::array<std::vector<float>, 2> sides{std::vector<float>(song.frames), std::vector<float>(song.frames)};
    for (std::size_t n = 0; n < 2 * std::min(song.frames, song.voice.Frames()); ++n) {
        sides[n % 2][n / 2] = song.voice.samples[n];
    }
    std::size_t next = 0;
    for (std::size_t at = 0; at < song.frames;) {
        const std::size_t untilLoop = song.loop - at % song.loop;
        const std::size_t count = std::min({nextLength(), song.frames - at, untilLoop});
        std::vector<host::TimedEvent> events;
        while (next < song.events.size() && song.events[next].frame < at + std::max<std::size_t>(count, 1)) {
            events.push_back(song.events[next++]);
            events.back().frame -= static_cast<std::uint32_t>(at);
        }
        float* const sound[] = {sides[0].data() + at, sides[1].data() + at};
        const host::Transport transport = song.TransportAt(at);
        plugin.Process({sound, 2, sound, static_cast<std::uint32_t>(count), events,
                        song.hasTransport ? &transport : nullptr});
        at += count;
    }
    std::vector<float> result;
    for (std::size_t n = 0; n < 2 * song.frames; ++n) {
        result.push_back(sides[n % 2][n / 2]);
    }
    return result;
}

inline std::vector<float> Play(PluginInstrument& plugin, const PluginSong& song, std::size_t block = 64) {
    return Play(plugin, song, [block] { return block; });
}

inline std::vector<float> Play(PluginInstrument& plugin, std::size_t frames) {
    PluginSong song;
    song.frames = frames;
    return Play(plugin, song);
}

/// Until all is there that was begun; what plays meanwhile goes on.
inline void WaitForLoads(PluginInstrument& plugin) {
    while (plugin.IsLoading()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// False when not all of it is sound.
inline bool LoadNow(PluginInstrument& plugin, std::map<std::uint32_t, std::filesystem::path> paths) {
    plugin.OrderSamples({std::move(paths)});
    WaitForLoads(plugin);
    bool isWhole = false;
    while (const auto done = plugin.TakeSamplesDone()) {
        isWhole = done->problem.empty();
    }
    return isWhole;
}

inline std::uint32_t IdOf(std::string_view name) {
    return host::ParameterCatalog::OfInstrument().Find(name).id;
}

inline host::TimedEvent Turn(std::uint32_t frame, std::uint32_t id, float position) {
    return {frame, host::ParameterSetting{id, host::ParameterSetting::Scale::Position, position}};
}

/// Notes, a macro, a bypass and parameters that move; a gate and an echo that follow the beat.
inline PluginSong BusySong() {
    PluginSong song = Notes();
    song.events = {{0, host::MidiMessage{0x90, 48, 100}},
                   {777, host::MidiMessage{0x90, 55, 90}},
                   Turn(3001, IdOf("BodeVocoder_SynthesizerFilterBank_Shift"), 0.7F),
                   Turn(5000, plugin::PluginParameters::firstMacro + 2, 0.4F),
                   {6000, host::MidiMessage{0xB0, 1, 90}},
                   Turn(8001, plugin::PluginParameters::bypass, 1.0F),
                   Turn(11113, plugin::PluginParameters::bypass, 0.0F),
                   {12345, host::MidiMessage{0x80, 48, 0}}};
    return song;
}

inline std::unique_ptr<PluginInstrument> Busy(PluginInstrument::Kind kind) {
    auto made = Plugin({}, kind);
    made->AssignMacro(2,
                      {"Dark", {{IdOf("FX1_Delay_Feedback"), 0.2F, 0.9F}, {IdOf("Osc1Shape"), 1.0F, 0.0F}}});
    for (const char* const each :
         {"FX1_ModuleType=delay", "FX1_Delay_TempoSync=on", "FX1_Delay_DryWet=0.5"}) {
        made->Set(host::ParseAssignment(host::ParameterCatalog::OfInstrument(), each));
    }
    made->Activate(pluginRate);
    return made;
}

/// Calls f(process) for calls in which something of all happens: f runs it under whatever it watches with.
template <class F>
void WhateverIsGoingOn(F&& f) {
    auto made = Busy(PluginInstrument::Kind::Effect);
    const std::string state = made->SaveState();
    made->SetWatched(true);
    std::array<std::vector<float>, 2> sides{std::vector<float>(9000), std::vector<float>(9000)};
    float* const sound[] = {sides[0].data(), sides[1].data()};
    for (unsigned round = 0; round < 60; ++round) {
        PluginSong song = BusySong();
        song.events.push_back({20000, host::MidiMessage{0xC0, static_cast<std::uint8_t>(round % 20), 0}});
        made->SetPosition(plugin::PluginParameters::firstMacro + 2, static_cast<float>(round % 7) / 7.0F);
        made->Play({0x90, static_cast<std::uint8_t>(40 + round), 80});
        if (round % 10 == 5) {
            made->LoadState(state);
            made->AssignMacro(round % 16, {});
        }
        constexpr std::uint32_t lengths[] = {0, 1, 64, 500, 9000};
        const plugin::PluginBlock block{sound, round % 3, sound, lengths[round % 5], song.events, nullptr};
        f([&] {
            made->Process(block);
            if (round == 30) {
                made->Reset();
            }
        });
    }
}

inline float Loudest(const std::vector<float>& sound) {
    float loudest = 0.0F;
    for (const float sample : sound) {
        loudest = std::max(loudest, std::abs(sample));
    }
    return loudest;
}

} // namespace orphia::test
