// SPDX-License-Identifier: GPL-3.0-or-later
// Presets that a bundle has as files for hosts.
#include "CommandRender.h"
#include "FormatRig.h"

#include <gtest/gtest.h>

namespace orphia::test {

namespace {

/// Where two sounds begin to differ, and how much at most.
std::string Difference(const std::vector<float>& ours, const std::vector<float>& theirs) {
    std::size_t first = theirs.size();
    float most = 0.0F;
    for (std::size_t n = theirs.size(); n-- > 0;) {
        first = ours[n] != theirs[n] ? n : first;
        most = std::max(most, std::abs(ours[n] - theirs[n]));
    }
    return "from frame " + std::to_string(first / 2) + ", at most " + std::to_string(most);
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
        for (const bool isEffect : {false, true}) {
            SCOPED_TRACE(programs[index].name + (isEffect ? " effect" : ""));
            const auto plugin = OpenLv2(isEffect);
            EXPECT_EQ(plugin->Presets().size(), programs.size());
            plugin->Activate(pluginRate);
            plugin->LoadPreset(programs[index].name);
            const std::vector<float> sound = OnTime(*plugin, song);
            EXPECT_TRUE(sound == expected) << Difference(sound, expected);
        }
    }
}

} // namespace

} // namespace orphia::test
