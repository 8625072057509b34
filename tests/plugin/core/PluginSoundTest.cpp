// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/midi/MidiFile.h"
#include "plugin/HeldResources.h"
#include "plugin/PluginRig.h"
#include "rigs/AllocationCounter.h"
#include "rigs/MidiSong.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace orphia::test {

namespace {

using plugin::PluginParameters;
using Kind = PluginInstrument::Kind;

TEST(PluginSound, IsTheSameToTheBitInBlocksOfAnySize) {
    for (const Kind kind : {Kind::Instrument, Kind::Effect}) {
        const PluginSong song = BusySong();
        const std::vector<float> expected = Play(*Busy(kind), song);
        ASSERT_GT(Loudest(expected), 0.01F);
        for (const std::size_t block : {0U, 1U, 63U, 4096U, 20000U}) {
            std::mt19937 random(1);
            const auto sound = Play(*Busy(kind), song, [&] { return block > 0 ? block : random() % 200; });
            EXPECT_TRUE(sound == expected) << block;
        }
    }
}

TEST(PluginSound, ActivatedAnewAtAnyRateItIsTheSameWhateverSoundedBefore) {
    for (const std::uint32_t program : {0U, 5U, 26U}) {
        for (const double rate : {pluginRate, 44100.0, 96000.0}) {
            const auto made = [program](double first) {
                auto plugin = Plugin();
                plugin->LoadProgram(program);
                plugin->Activate(first);
                return plugin;
            };
            const std::vector<float> expected = Play(*made(rate), Notes());
            ASSERT_GT(Loudest(expected), 0.01F);
            const auto plugin = made(pluginRate);
            for (const std::size_t before : {1024U, 7777U}) {
                PluginSong song = Notes();
                song.frames = before;
                Play(*plugin, song);
                plugin->Activate(rate);
                EXPECT_TRUE(Play(*plugin, Notes()) == expected)
                    << program << " at " << rate << " after " << before;
            }
        }
    }
}

TEST(PluginSound, ResetEndsAllAtOnceAndAllNotesOffTheKeys) {
    PluginSong voice;
    const auto fresh = Plugin();
    fresh->Activate(pluginRate);
    const float unsung = Loudest(Play(*fresh, voice));
    enum { Nothing, Reset, NotesOff };
    for (const int what : {Nothing, Reset, NotesOff}) {
        auto plugin = Plugin();
        plugin->Activate(pluginRate);
        PluginSong keys = Notes();
        keys.events.pop_back();
        Play(*plugin, keys);
        const std::string state = plugin->SaveState();
        if (what == Reset) {
            plugin->Reset();
        } else if (what == NotesOff) {
            plugin->AllNotesOff();
        }
        const std::vector<float> sound = Play(*plugin, voice);
        const float start = Loudest({sound.begin(), sound.begin() + 2 * plugin->LatencyFrames()});
        EXPECT_EQ(start == 0.0F, what == Reset);
        const float later = Loudest({sound.begin() + sound.size() / 2, sound.end()});
        EXPECT_EQ(later > 2.0F * unsung, what == Nothing) << later << " " << unsung;
        EXPECT_EQ(plugin->SaveState(), state);
    }
}

/// Where the loudest frame is.
std::size_t PeakOf(const std::vector<float>& sound) {
    const auto louder = [](float a, float b) { return std::abs(a) < std::abs(b); };
    return static_cast<std::size_t>(std::max_element(sound.begin(), sound.end(), louder) - sound.begin()) / 2;
}

TEST(PluginSound, AnImpulseComesOutAsLateAsIsReported) {
    PluginSong song;
    // A gate in front of it opens for what lasts.
    song.voice = Sine(200.0, 0.5, 48000, 2, 0.02);
    song.voice.samples[2 * 9000] = song.voice.samples[2 * 9000 + 1] = 0.5F;
    for (const double rate : {44100.0, 48000.0, 96000.0}) {
        for (const char* const effect : {"none", "crusher", "compressor"}) {
            for (const bool isBypassed : {false, true}) {
                auto plugin = Plugin({}, Kind::Effect);
                const auto set = [&plugin](const std::string& text) {
                    plugin->Set(host::ParseAssignment(host::ParameterCatalog::OfInstrument(), text));
                };
                set("OutputSelection=modulator");
                set("VoiceInputGate_Threshold=-70 dB");
                set(std::string("FX1_ModuleType=") + effect);
                set("FX1_BitCrusher_DryWet=0");
                set("FX1_Compressor_Wet=0");
                set("FX1_Compressor_LookaheadEnable=on");
                plugin->SetPosition(PluginParameters::bypass, isBypassed ? 1.0F : 0.0F);
                plugin->Activate(rate);
                const std::uint32_t latency = plugin->LatencyFrames();
                const auto sound = Play(*plugin, song);
                EXPECT_EQ(PeakOf(sound), 9000 + latency) << rate << effect << isBypassed;
                EXPECT_EQ(plugin->LatencyFrames(), latency);
                EXPECT_TRUE(!isBypassed || sound[2 * (9000 + latency)] == 0.5F);
            }
        }
    }
}

TEST(PluginSound, AParameterActsInTheBlockOfItsFrame) {
    const std::vector<float> before = Play(*Busy(Kind::Instrument), Notes());
    for (const std::uint32_t frame : {6001U, 9999U}) {
        PluginSong song = Notes();
        song.events.insert(song.events.begin() + 2, Turn(frame, IdOf("MasterVolume"), 0.0F));
        auto plugin = Busy(Kind::Instrument);
        const std::vector<float> after = Play(*plugin, song);
        const auto first = std::mismatch(before.begin(), before.end(), after.begin()).first - before.begin();
        const std::uint32_t block = 48;
        const std::int64_t start = frame / block * block + plugin->LatencyFrames();
        EXPECT_GE(first / 2, start);
        EXPECT_LE(first / 2, start + block);
        EXPECT_EQ(plugin->Position(IdOf("MasterVolume")), 0.0F);
    }
}

#ifdef ORPHIA_COMMAND
TEST(PluginSound, EqualsWhatTheCommandRendersAsSoonAsTheLatencyIsOver) {
    const TemporaryFolder folder;
    const PluginSong reference;
    WriteSound(folder / "voice.wav", reference.voice);
    WriteText(folder / "song.mid",
              Text(Song(0, 480, {"on48=100 +100 on55=90 +100 cc1=90 +20 bend10000 +180 off48 off55 end"})));
    const auto file = host::MidiFile::Read(folder / "song.mid");
    for (const char* const preset : {"default", "rhythm-gate", "dub-echo-robot"}) {
        const std::string command =
            std::string(ORPHIA_COMMAND) + " render --rate 48000 --format float --tail 0.2 --preset " +
            preset + " --voice " + (folder / "voice.wav").string() + " --midi " +
            (folder / "song.mid").string() + " -o " + (folder / "out.wav").string() + " >/dev/null 2>&1";
        ASSERT_EQ(std::system(command.c_str()), 0);
        const Sound expected = ReadSound(folder / "out.wav");
        auto plugin = Plugin();
        const auto programs = plugin->Programs();
        const auto isNamed = [preset](const auto& program) { return program.id == preset; };
        plugin->LoadProgram(static_cast<std::uint32_t>(
            std::find_if(programs.begin(), programs.end(), isNamed) - programs.begin()));
        plugin->Set(
            host::ParseAssignment(host::ParameterCatalog::OfInstrument(), "Modulator_ExternalInput=on"));
        plugin->Activate(pluginRate);
        PluginSong song;
        song.tempo = 120.0;
        song.frames = song.loop = expected.Frames() + plugin->LatencyFrames();
        for (const host::MidiEvent& event : file.Events()) {
            song.events.push_back({static_cast<std::uint32_t>(event.seconds * pluginRate), event.message});
        }
        std::vector<float> sound = Play(*plugin, song);
        sound.erase(sound.begin(), sound.begin() + 2 * plugin->LatencyFrames());
        ASSERT_GT(expected.Peak(), 0.01F);
        const auto [ours, theirs] = std::mismatch(sound.begin(), sound.end(), expected.samples.begin());
        EXPECT_TRUE(ours == sound.end())
            << preset << " from " << (ours - sound.begin()) / 2 << " of " << song.frames;
    }
}
#endif

TEST(PluginSound, TheAudioThreadAllocatesNothingWhateverIsGoingOn) {
    WhateverIsGoingOn([](const auto& process) {
        const orphia_reference::AllocationCounter counter;
        process();
        EXPECT_EQ(counter.Count(), 0U);
    });
}

TEST(PluginSound, ManyInstancesAndStatesLeaveNoThreadAndNoMemory) {
    const auto live = [](unsigned count) {
        for (unsigned n = 0; n < count; ++n) {
            auto plugin = Plugin();
            if (n % 10 == 0) {
                plugin->Activate(pluginRate);
                const std::string state = plugin->SaveState();
                for (unsigned times = 0; times < 3; ++times) {
                    Play(*plugin, 100);
                    EXPECT_TRUE(plugin->LoadState(state));
                }
            }
        }
    };
    live(10);
    const HeldResources before;
    live(200);
    before.ExpectNoMoreNow();
}

TEST(PluginSound, WithoutAnEngineItIsSilentAndKeepsItsState) {
    PluginInstrument plugin(
        PluginInstrument::Options{Kind::Effect, "/nowhere/engine.so", std::filesystem::path(), 1});
    EXPECT_FALSE(plugin.IsUsable());
    plugin.Activate(pluginRate);
    plugin.SetPosition(IdOf("MasterVolume"), 0.25F);
    EXPECT_EQ(Loudest(Play(plugin, Notes())), 0.0F);
    auto other = Plugin();
    ASSERT_TRUE(other->LoadState(plugin.SaveState()));
    EXPECT_EQ(other->Position(IdOf("MasterVolume")), 0.25F);
    EXPECT_PRED2(Has, plugin.TakeMessages().at(0), "/nowhere/engine.so");
}

} // namespace

} // namespace orphia::test
