// SPDX-License-Identifier: GPL-3.0-or-later
// What comes out of the bundles is what the core renders, which equals the command (tests/plugin).
#include "FormatRig.h"

#include <gtest/gtest.h>

#include <span>

namespace orphia::test {

namespace {

constexpr std::uint32_t block = 64;
constexpr std::uint32_t frames = 375 * block;

struct Format {
    const char* name;
    MakePlugin open;
    /// How far into a block its hosts can move a parameter.
    std::uint32_t delay;
};

/// A slider of a host moves.
struct Move {
    std::uint32_t frame;
    const char* name;
    double value;
};
std::vector<Move> Moves(std::uint32_t delay) {
    return {{50 * block + delay, "Master Volume", -20.0},
            {100 * block + delay, "Osc 1 Wave", 2.0},
            {150 * block + delay, "Bands Shift", 0.5},
            {200 * block + delay, "FX1 Type", 2.0}};
}

std::vector<float> PlayHosted(HostedPlugin& plugin, const PluginSong& song, std::span<const Move> moves) {
    std::vector<float> result;
    for (std::uint32_t at = 0; at < frames; at += block) {
        std::array<std::array<float, block>, 2> sides{};
        for (std::uint32_t n = 0; n < 2 * block; ++n) {
            sides[n % 2][n / 2] = song.voice.samples[2 * at + n];
        }
        std::vector<host::TimedEvent> events;
        for (const host::TimedEvent& event : song.events) {
            if (event.frame >= at && event.frame < at + block) {
                events.push_back({event.frame - at, event.what});
            }
        }
        for (const Move& move : moves) {
            if (move.frame >= at && move.frame < at + block) {
                plugin.SetValue(move.name, move.value, move.frame - at);
            }
        }
        float* const sound[] = {sides[0].data(), sides[1].data()};
        plugin.Process(sound, block, events);
        for (std::uint32_t n = 0; n < 2 * block; ++n) {
            result.push_back(sides[n % 2][n / 2]);
        }
    }
    return result;
}

const plugin::PluginParameter& Named(std::string_view name) {
    const auto& all = plugin::PluginParameters::Get().All();
    return *std::find_if(all.begin(), all.end(), [name](const auto& each) { return each.name == name; });
}

/// The same in the core; hosts without a transport tell none.
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
    song.hasTransport = false;
    return Play(core, song, block);
}

TEST(Formats, SoundAndComeBackLikeTheCore) {
    for (const Format format : {Format{"clap", OpenClap, 37}, Format{"lv2", OpenLv2, 0}}) {
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
            EXPECT_TRUE(PlayHosted(*plugin, Notes(), Moves(format.delay)) == expected);
            EXPECT_EQ(plugin->Latency(), core->LatencyFrames());
            // A new instance of the saved one against one that has the core's state.
            const auto again = format.open(isEffect);
            again->Activate(pluginRate);
            again->Load(plugin->Save());
            const auto restored =
                Plugin({}, isEffect ? PluginInstrument::Kind::Effect : PluginInstrument::Kind::Instrument);
            restored->Activate(pluginRate);
            ASSERT_TRUE(restored->LoadState(core->SaveState()));
            EXPECT_TRUE(PlayHosted(*again, Notes(), {}) == PlayCore(*restored, Notes(), {}));
        }
    }
}

} // namespace

} // namespace orphia::test
