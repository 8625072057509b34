// SPDX-License-Identifier: GPL-3.0-or-later
// To be run under the thread sanitizer, too.
#include "plugin/PluginRig.h"

#include <gtest/gtest.h>

#include <atomic>

namespace {

using namespace orphia;
using namespace orphia::test;

/// Plays on a thread of its own, and moves one parameter after the other.
class TurningHost {
public:
    explicit TurningHost(PluginInstrument& instrument, bool turns)
        : plugin(instrument), thread([this, turns] { Run(turns); }) {}
    ~TurningHost() { Stop(); }
    TurningHost(const TurningHost&) = delete;
    TurningHost& operator=(const TurningHost&) = delete;

    /// Where it has left what it moved, by id.
    std::map<std::uint32_t, float> Stop() {
        ends = true;
        if (thread.joinable()) {
            thread.join();
        }
        return positions;
    }

private:
    void Run(bool turns) {
        const auto& all = plugin::PluginParameters::Get().All();
        PluginSong song;
        song.frames = 96;
        for (std::size_t n = 0; !ends; ++n) {
            const auto key = static_cast<std::uint8_t>(40 + n / 2 % 20);
            song.events = {
                {0, host::MidiMessage{static_cast<std::uint8_t>(n % 2 == 0 ? 0x90 : 0x80), key, 90}}};
            const plugin::PluginParameter& turned = all[n % all.size()];
            if (turns && turned.stepCount == 0) {
                positions[turned.id] = static_cast<float>(1 + n / all.size() % 3) / 4.0F;
                song.events.push_back(Turn(1, turned.id, positions[turned.id]));
            }
            Play(plugin, song, 48);
        }
    }

    PluginInstrument& plugin;
    std::map<std::uint32_t, float> positions;
    std::atomic<bool> ends{false};
    std::thread thread;
};

TEST(PluginLoads, OrderedBegunAndCancelledWhileItPlaysComeOrNotAsWasSaid) {
    const TemporaryFolder folder;
    WriteSound(folder / "beat.wav", Syllables(0.05));
    const auto plugin = Plugin();
    plugin->Activate(pluginRate);
    const std::string first = plugin->SaveState();

    // Samples come with all that is turned meanwhile.
    TurningHost turning(*plugin, true);
    std::map<std::uint32_t, bool> comes;
    for (std::uint32_t sample = 0; sample < 6; ++sample) {
        plugin->OrderSamples({{{sample, folder / "beat.wav"}}});
        comes[sample] = sample % 3 != 2 || !plugin->CancelSamples();
        if (sample % 4 == 0) {
            WaitForLoads(*plugin);
        }
        plugin->SetPosition(plugin::PluginParameters::bypass, 0.0F);
        plugin->OrderedSamples();
        plugin->TakeLevels();
    }
    WaitForLoads(*plugin);
    const std::map<std::uint32_t, float> turned = turning.Stop();
    for (const auto& [sample, isThere] : comes) {
        EXPECT_EQ(plugin->SamplePath(sample).empty(), !isThere) << sample;
    }
    const std::string second = plugin->SaveState();
    const auto other = Plugin();
    ASSERT_TRUE(other->LoadState(second));
    for (const auto& [id, position] : turned) {
        EXPECT_NEAR(other->Position(id), position, 1e-3F) << plugin::PluginParameters::Get().Find(id)->symbol;
    }

    // Whatever is begun, what was begun last is there in the end.
    {
        TurningHost playing(*plugin, false);
        for (std::uint32_t round = 0; round < 4; ++round) {
            plugin->BeginProgram(round);
            plugin->OrderSamples({{{round, {}}}});
            if (round % 2 == 0) {
                EXPECT_TRUE(round % 4 == 0 ? plugin->BeginState(first) : plugin->LoadState(first));
            }
            plugin->SaveState();
        }
        EXPECT_TRUE(plugin->BeginState(second));
        WaitForLoads(*plugin);
        playing.Stop();
    }
    EXPECT_TRUE(plugin->SaveState() == second);

    // At rest.
    plugin->Deactivate();
    std::atomic<bool> isLoaded{false};
    std::thread resets([&] {
        while (!isLoaded) {
            plugin->Reset();
        }
    });
    for (const std::string& state : {first, second, first}) {
        EXPECT_TRUE(plugin->LoadState(state));
    }
    isLoaded = true;
    resets.join();
    EXPECT_TRUE(plugin->SaveState() == first);
}

} // namespace
