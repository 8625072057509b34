// SPDX-License-Identifier: GPL-3.0-or-later
// What happens while one sound takes the place of another.
#include "plugin/PluginRig.h"
#include "support/platform/DynamicLibrary.h"

#include <gtest/gtest.h>

namespace orphia::test {

namespace {

constexpr std::uint32_t firstProgram = 5, lastProgram = 7;

host::MidiMessage Controller(std::uint8_t number, std::uint8_t value) { return {0xB2, number, value}; }

/// A song of silence.
PluginSong Events(std::vector<host::TimedEvent> events, std::size_t frames = 9600) {
    PluginSong song;
    song.events = std::move(events);
    song.frames = frames;
    song.voice.samples.assign(song.voice.samples.size(), 0.0F);
    return song;
}

/// One that has sounded, so that others fade in.
std::unique_ptr<PluginInstrument> Faded() {
    auto plugin = Plugin();
    plugin->Activate(pluginRate);
    plugin->SetWatched(true);
    Play(*plugin, Events({}, 1000));
    return plugin;
}

/// Whatever was ordered plays, and has said what it has to.
void Settle(PluginInstrument& plugin) {
    WaitForLoads(plugin);
    Play(plugin, Events({}));
    plugin.SaveState();
    Play(plugin, Events({}));
}

TEST(PluginTakeover, WhatIsPlayedSinceTheOrderIsHeardOfByTheNewSound) {
    struct Case {
        host::TimedEvent event;
        const char* parameter;
        float position;
    };
    const Case cases[] = {{Turn(3, IdOf("Release"), 0.125F), "Release", 0.125F},
                          {{3, Controller(1, 127)}, "VST3_CtrlModWheel", 1.0F},
                          {{3, host::MidiMessage{0xE2, 127, 127}}, "VST3_PitchBend", 1.0F},
                          {{3, Controller(64, 127)}, "VST3_CtrlSustainOnOff", 1.0F},
                          {{3, Controller(21, 127)}, "BodeVocoder_Wet", 1.0F}};
    for (const Case& each : cases) {
        for (const bool isBuiltBeside : {false, true}) {
            auto plugin = Faded();
            plugin->Controllers().Assign(21, IdOf("BodeVocoder_Wet"));
            plugin->LoadProgram(firstProgram);
            // A fade takes 960 frames, and a call may end within a block.
            Play(*plugin, Events({}, 500));
            isBuiltBeside ? plugin->BeginProgram(lastProgram) : plugin->LoadProgram(lastProgram);
            // Which is older, and so counts for less.
            Play(*plugin, Events({Turn(2, IdOf("BodeVocoder_Wet"), 0.2F), each.event}, 100));
            Settle(*plugin);
            EXPECT_EQ(plugin->Position(IdOf(each.parameter)), each.position)
                << each.parameter << isBuiltBeside;
            EXPECT_EQ(plugin->CurrentProgram(), lastProgram);
        }
    }
}

TEST(PluginTakeover, KeysOfTheNewSoundAreHeardAndEndAndThoseOfTheOldDoNotHang) {
    for (const bool isReleased : {false, true}) {
        auto plugin = Faded();
        Play(*plugin, Events({{0, host::MidiMessage{0x90, 40, 100}}}, 500));
        plugin->LoadProgram(firstProgram);
        Play(*plugin, Events({}, 500));
        plugin->LoadProgram(lastProgram);
        Play(*plugin, Events({{0, host::MidiMessage{0x80, 40, 0}}, {1, host::MidiMessage{0x90, 50, 100}}}));
        Settle(*plugin);
        EXPECT_EQ(plugin->HeldKeys().held.to_string(), std::bitset<128>().set(50).to_string());
        isReleased ? Play(*plugin, Events({{0, host::MidiMessage{0x80, 50, 0}}}))
                   : (plugin->AllNotesOff(), Play(*plugin, 64));
        EXPECT_TRUE(plugin->HeldKeys().held.none());
    }
    // What is released at once is not heard of later.
    auto plugin = Faded();
    plugin->LoadProgram(firstProgram);
    Play(*plugin, Events({}, 500));
    plugin->LoadProgram(lastProgram);
    Play(*plugin, Events({{0, host::MidiMessage{0x90, 50, 100}}}, 100));
    plugin->AllNotesOff();
    Play(*plugin, Events({}));
    EXPECT_TRUE(plugin->HeldKeys().held.none());
}

TEST(PluginTakeover, OfAnExportIsBeforeTheKeyThatFollowsTheProgram) {
    auto plugin = Faded();
    plugin->SetOffline(true);
    Play(*plugin, Events({{7, host::MidiMessage{0xC0, 1, 0}}, {7, host::MidiMessage{0x90, 50, 100}}}));
    EXPECT_EQ(plugin->HeldKeys().held.to_string(), std::bitset<128>().set(50).to_string());
}

TEST(PluginTakeover, VolumeAndPedalsStayWhenSamplesCome) {
    const TemporaryFolder folder;
    WriteSound(folder / "beat.wav", Syllables(0.1));
    PluginSong key = Notes();
    key.events.resize(1);
    for (const bool isLoud : {false, true}) {
        auto plugin = Faded();
        Play(*plugin, Events({{0, Controller(7, isLoud ? 127 : 0)}, {0, Controller(64, 127)}}));
        ASSERT_TRUE(LoadNow(*plugin, {{0, folder / "beat.wav"}}));
        key.events[0].what = host::MidiMessage{0x92, 48, 100};
        Play(*plugin, Events({}, 500));
        EXPECT_EQ(Loudest(Play(*plugin, key)) > 0.01F, isLoud);
        EXPECT_EQ(plugin->Position(IdOf("VST3_CtrlSustainOnOff")), 1.0F);
        Play(*plugin, Events({{0, Controller(64, 0)}}));
        EXPECT_EQ(plugin->Position(IdOf("VST3_CtrlSustainOnOff")), 0.0F);
    }
}

/// While it lives, the silent engine makes no processor.
class ShortOfMemory {
public:
    ShortOfMemory() { Set(true); }
    ~ShortOfMemory() { Set(false); }

private:
    void Set(bool isShort) { engine.FindFunction<void(bool)>("SetShortOfMemory")(isShort); }

    Velmora::Platform::DynamicLibrary engine{ORPHIA_SILENT_ENGINE};
};

TEST(PluginTakeover, ThatFailsLeavesWhatWasTurnedToTheSoundThatStays) {
    PluginInstrument plugin({PluginInstrument::Kind::Instrument, ORPHIA_SILENT_ENGINE, {}, 1});
    plugin.Activate(pluginRate);
    Play(plugin, 64);
    const std::string state = plugin.SaveState();
    {
        const ShortOfMemory isShort;
        EXPECT_TRUE(plugin.BeginProgram(lastProgram));
        plugin.SetPosition(IdOf("MasterVolume"), 0.25F);
        WaitForLoads(plugin);
    }
    Play(plugin, 64);
    EXPECT_PRED2(Has, plugin.TakeMessages().at(0), "memory");
    EXPECT_EQ(plugin.Position(IdOf("MasterVolume")), 0.25F);
    EXPECT_PRED2(Has, plugin.SaveState(), "\"MasterVolume\"");
    EXPECT_EQ(plugin.CurrentProgram(), 0U);
    ASSERT_TRUE(plugin.LoadState(state));
    Play(plugin, 64);
    EXPECT_TRUE(plugin.SaveState() == state) << "it was not for this one";
}

TEST(PluginTakeover, OfNothingWaitsUntilThereIsASound) {
    PluginInstrument plugin({PluginInstrument::Kind::Instrument, ORPHIA_SILENT_ENGINE, {}, 1});
    plugin.SetPosition(IdOf("MasterVolume"), 0.25F);
    const std::string state = plugin.SaveState();
    {
        const ShortOfMemory isShort;
        plugin.Activate(pluginRate);
    }
    for (int round = 0; round < 2; ++round) {
        plugin.LoadState(state);
        Play(plugin, 64);
        EXPECT_PRED2(Has, plugin.SaveState(), "\"MasterVolume\"");
        plugin.Activate(pluginRate);
        Play(plugin, 64);
        EXPECT_EQ(plugin.Position(IdOf("MasterVolume")), 0.25F);
    }
}

} // namespace

} // namespace orphia::test
