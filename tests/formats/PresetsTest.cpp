// SPDX-License-Identifier: GPL-3.0-or-later
// Presets that a bundle has as files for hosts.
#include "CommandRender.h"
#include "FormatRig.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace orphia::test {

namespace {

/// A sample of the user's comes by a program of the user's; offline that is there at once, else after a
/// while.
TEST(Formats, ASampleMovesWithTheProjectOfItsHost) {
    const TemporaryFolder folder;
    const auto presets = folder / "Velmora/Orphia VX/Presets", project = folder / "project";
    std::filesystem::create_directories(presets);
    std::filesystem::create_directories(project);
    WriteSound(project / "beat.wav", Syllables(0.5));
    const auto core = Plugin(presets);
    core->Activate(pluginRate);
    core->SetPosition(IdOf("Modulator_ExternalInput"), 0.0F);
    ASSERT_TRUE(LoadNow(*core, {{0, project / "beat.wav"}}));
    ASSERT_TRUE(core->SaveProgram("mine", "Mine"));
    const auto expected = Play(*core, Notes());
    ASSERT_GT(Loudest(expected), 0.01F);
    setenv("XDG_DATA_HOME", folder.Path().c_str(), 1);
    PluginSong change;
    change.events = {{0, host::MidiMessage{0xB0, 32, 1}}, {0, host::MidiMessage{0xC0, 0, 0}}};
    for (const Format& format : formats) {
        SCOPED_TRACE(format.name);
        const auto plugin = format.open(false);
        plugin->Activate(pluginRate);
        const std::string before = plugin->Save();
        plugin->SetValue("Free Wheeling", 1.0, 0);
        PlayHosted(*plugin, change);
        for (int wait = 0; wait < 200 && plugin->Save() == before; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            PlayHosted(*plugin, {});
        }
        if (plugin->SaveProject(project)) {
            std::filesystem::rename(project, folder / "moved");
            const auto again = format.open(false);
            again->Activate(pluginRate);
            again->LoadProject(folder / "moved");
            EXPECT_EQ(Difference(PlayHosted(*again, Notes()), expected), "");
            std::filesystem::rename(folder / "moved", project);
        }
    }
    unsetenv("XDG_DATA_HOME");
}

/// A preset that plays samples does so with a voice, too; the command would listen to that.
TEST(Formats, FactoryPresetsOfABundleSoundAsInTheCommand) {
    const auto core = Plugin();
    const auto programs = core->Programs();
    for (std::uint32_t index = 0; index < programs.size(); ++index) {
        ASSERT_TRUE(core->LoadProgram(index));
        PluginSong song = HostSong();
        const bool playsSamples = core->Position(IdOf("Modulator_ExternalInput")) < 0.5F;
        song.voice.samples.resize(playsSamples ? 0 : song.voice.samples.size());
        const auto expected = RenderByCommand(song, "--preset " + programs[index].id);
        for (const Format& format : formats) {
            SCOPED_TRACE(programs[index].name + " " + format.name);
            const auto plugin = format.open(index % 2 == 0);
            if (!plugin->Presets().empty()) {
                EXPECT_EQ(plugin->Presets().size(), programs.size());
                plugin->Activate(pluginRate);
                plugin->LoadPreset(programs[index].name);
                const std::vector<float> sound = OnTime(*plugin, song);
                EXPECT_EQ(Difference(sound, expected), "");
            }
        }
    }
}

} // namespace

} // namespace orphia::test
