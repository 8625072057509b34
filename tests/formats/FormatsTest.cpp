// SPDX-License-Identifier: GPL-3.0-or-later
// What comes out of the bundles is what the core renders, which equals the command (tests/plugin).
#include "CommandRender.h"
#include "FormatRig.h"

#include <gtest/gtest.h>

#include <span>

namespace orphia::test {

namespace {

constexpr std::uint32_t block = 64;
constexpr std::uint32_t frames = 375 * block;

std::vector<Move> Moves(std::uint32_t delay) {
    return {{50 * block + delay, "Master Volume", -20.0}, {100 * block + delay, "Osc 1 Wave", 2.0},
            {120 * block + delay, "Bypass", 1.0},         {140 * block + delay, "Bypass", 0.0},
            {150 * block + delay, "Bands Shift", 0.5},    {200 * block + delay, "FX1 Type", 2.0}};
}

const plugin::PluginParameter& Named(std::string_view name) {
    const auto& all = plugin::PluginParameters::Get().All();
    return *std::find_if(all.begin(), all.end(), [name](const auto& each) { return each.name == name; });
}

/// The same in the core.
std::vector<float> PlayCore(PluginInstrument& core, PluginSong song, std::span<const Move> moves) {
    for (const Move& move : moves) {
        const std::uint32_t id = Named(move.name).id;
        const host::TimedEvent event{
            move.frame,
            host::ParameterSetting{id, host::ParameterSetting::Scale::Value, static_cast<float>(move.value)}};
        const auto behind = std::find_if(song.events.begin(), song.events.end(),
                                         [&](const auto& other) { return other.frame >= move.frame; });
        song.events.insert(behind, event);
    }
    song.frames = frames;
    return Play(core, song, block);
}

TEST(Formats, SoundAndComeBackLikeTheCore) {
    for (const Format& format : formats) {
        for (const bool isEffect : {false, true}) {
            SCOPED_TRACE(std::string(format.name) + (isEffect ? " effect" : ""));
            const auto core =
                Plugin({}, isEffect ? PluginInstrument::Kind::Effect : PluginInstrument::Kind::Instrument);
            core->Activate(pluginRate);
            const auto plugin = format.open(isEffect);
            EXPECT_EQ(plugin->ParameterCount(), plugin::PluginParameters::Get().All().size());
            plugin->Activate(pluginRate);
            const auto expected = PlayCore(*core, Notes(), Moves(format.delay));
            ASSERT_GT(Loudest(expected), 0.01F);
            EXPECT_EQ(Difference(PlayHosted(*plugin, Notes(), Moves(format.delay)), expected), "");
            EXPECT_EQ(plugin->Latency(), core->LatencyFrames());
            // A new instance of the saved one against one that has the core's state.
            const auto again = format.open(isEffect);
            again->Activate(pluginRate);
            again->Load(plugin->Save());
            const auto restored =
                Plugin({}, isEffect ? PluginInstrument::Kind::Effect : PluginInstrument::Kind::Instrument);
            restored->Activate(pluginRate);
            ASSERT_TRUE(restored->LoadState(core->SaveState()));
            EXPECT_EQ(Difference(PlayHosted(*again, Notes(), {}), PlayCore(*restored, Notes(), {})), "");
        }
    }
}

std::size_t LateWithoutEffects() {
    const auto core = Plugin();
    core->Activate(pluginRate);
    return core->LatencyFrames();
}

TEST(Formats, EqualWhatTheCommandRendersAsSoonAsTheLatencyIsOver) {
    const std::vector<float> expected = RenderByCommand(HostSong(2.0));
    ASSERT_GT(Loudest(expected), 0.01F);
    for (const Format& format : formats) {
        for (const bool isEffect : {false, true}) {
            SCOPED_TRACE(std::string(format.name) + (isEffect ? " effect" : ""));
            const auto plugin = format.open(isEffect);
            plugin->Activate(pluginRate);
            EXPECT_EQ(Difference(OnTime(*plugin, HostSong(2.0)), expected), "");
            EXPECT_EQ(plugin->Latency(), LateWithoutEffects());
        }
    }
}

/// A gate that follows the beat, in a song with loops.
TEST(Formats, FollowTheHostsTempoAndItsLoops) {
    const auto core = Plugin();
    const auto programs = core->Programs();
    const auto gate = std::find_if(programs.begin(), programs.end(),
                                   [](const auto& program) { return program.id == "rhythm-gate"; });
    ASSERT_TRUE(core->LoadProgram(static_cast<std::uint32_t>(gate - programs.begin())));
    const std::string state = core->SaveState();
    const auto play = [&](bool hasTransport, std::size_t loop) {
        const auto plugin = Plugin();
        plugin->Activate(pluginRate);
        plugin->LoadState(state);
        PluginSong song = Notes();
        song.hasTransport = hasTransport;
        song.loop = loop;
        return Play(*plugin, song, block);
    };
    PluginSong song = Notes();
    song.loop = 9000;
    const std::vector<float> expected = play(true, song.loop);
    ASSERT_FALSE(play(false, song.loop) == expected);
    ASSERT_FALSE(play(true, song.frames) == expected);
    for (const Format& format : formats) {
        SCOPED_TRACE(format.name);
        const auto plugin = format.open(false);
        plugin->Activate(pluginRate);
        plugin->Presets().empty() ? plugin->Load(state) : plugin->LoadPreset(gate->name);
        EXPECT_EQ(Difference(PlayHosted(*plugin, song), expected), "");
    }
}

/// Also without frames, and longer than what the host announced.
TEST(Formats, SoundTheSameInBlocksOfAnyLength) {
    for (const Format& format : formats) {
        for (const bool isEffect : {false, true}) {
            SCOPED_TRACE(std::string(format.name) + (isEffect ? " effect" : ""));
            const auto even = format.open(isEffect);
            const auto odd = format.open(isEffect);
            even->Activate(pluginRate);
            odd->Activate(pluginRate);
            const std::vector<float> expected = PlayHosted(*even, HostSong());
            ASSERT_GT(Loudest(expected), 0.01F);
            EXPECT_EQ(Difference(PlayHosted(*odd, HostSong(), {}, {1, 0, 7, HostedPlugin::longest + 1, 9000}),
                                 expected),
                      "");
        }
    }
}

} // namespace

} // namespace orphia::test
