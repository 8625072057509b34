// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/PluginRig.h"
#include "rigs/MidiSong.h"

#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

/// What the command makes of a song, for comparison with hosts.
namespace orphia::test {

/// Keys, a pedal, wheel and bend, and a speech; some longer than the speech, for what sounds on.
inline PluginSong HostSong(double seconds = 0.5) {
    const auto at = [seconds](double place) {
        return static_cast<std::uint32_t>(place * seconds * pluginRate);
    };
    const auto message = [](unsigned status, unsigned a, unsigned b) {
        return host::MidiMessage{static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(a),
                                 static_cast<std::uint8_t>(b)};
    };
    PluginSong song;
    song.voice = Syllables(seconds, 48000);
    song.events = {{at(0.0), message(0x90, 48, 100)},  {at(0.11), message(0x90, 55, 90)},
                   {at(0.23), message(0xB0, 1, 90)},   {at(0.37), message(0xE0, 0x7F, 0x7F)},
                   {at(0.5), message(0x80, 48, 0)},    {at(0.5), message(0xB0, 64, 127)},
                   {at(0.51), message(0x90, 60, 127)}, {at(0.6), message(0xB0, 1, 10)},
                   {at(0.7), message(0x80, 60, 0)},    {at(0.75), message(0xE0, 0, 0x40)},
                   {at(0.8), message(0xB0, 64, 0)},    {at(0.9), message(0x80, 55, 0)}};
    song.frames = at(1.5) / 64 * 64;
    song.hasTransport = false;
    return song;
}

/// A tick is a frame of the tests' rate.
inline std::string SongFile(const PluginSong& song, std::size_t lead) {
    std::string track;
    std::size_t last = 0;
    char text[32] = "";
    for (const host::TimedEvent& event : song.events) {
        const auto& message = std::get<host::MidiMessage>(event.what);
        std::snprintf(text, sizeof(text), "+%zu %02X%02X%02X ", event.frame + lead - last, message.status,
                      message.data1, message.data2);
        last = event.frame + lead;
        track += text;
    }
    return Text(Song(0, 24000, {track + "end"}));
}

/// As many frames as the song has, behind a silence of so many; without a voice when it is empty; more
/// arguments as a shell takes them. Throws when the command fails.
inline std::vector<float> RenderByCommand(const PluginSong& song, const std::string& arguments = "",
                                          std::size_t lead = 0) {
    const TemporaryFolder folder;
    Sound voice = song.voice;
    voice.samples.insert(voice.samples.begin(), 2 * lead, 0.0F);
    WriteSound(folder / "voice.wav", voice);
    WriteText(folder / "song.mid", SongFile(song, lead));
    const std::string voiceOption =
        song.voice.samples.empty() ? "" : " --voice " + (folder / "voice.wav").string();
    const std::string command = std::string(ORPHIA_COMMAND) + " render --rate 48000 --format float --tail 2" +
                                voiceOption + " --midi " + (folder / "song.mid").string() + " -o " +
                                (folder / "out.wav").string() + " " + arguments + " >" +
                                (folder / "told.txt").string() + " 2>&1";
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error(command);
    }
    std::vector<float> sound = ReadSound(folder / "out.wav").samples;
    sound.erase(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(2 * lead));
    sound.resize(2 * song.frames);
    return sound;
}

} // namespace orphia::test
