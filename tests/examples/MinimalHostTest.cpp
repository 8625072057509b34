// SPDX-License-Identifier: GPL-3.0-or-later
// The host of one file that the documents begin with: built as they say, and run as a user would.
#include "rigs/SoundChecks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace orphia::test {

namespace {

int RunHost(const std::filesystem::path& engine, const std::filesystem::path& voice,
            const std::filesystem::path& result) {
    const std::string line = "'" ORPHIA_MINIMAL_HOST "' '" + engine.string() + "' '" + voice.string() + "' '";
    return std::system((line + result.string() + "' >/dev/null").c_str());
}

TEST(MinimalHost, SpeaksThroughItsChordAsLoudAsTheVoice) {
    const TemporaryFolder folder;
    const auto voice = std::filesystem::path(ORPHIA_EXAMPLES) / "voice.flac";
    ASSERT_EQ(RunHost(ORPHIA_ENGINE_LIBRARY, voice, folder / "out.wav"), 0);
    const Sound spoken = ReadSound(voice);
    const Sound sung = ReadSound(folder / "out.wav");
    int loud = 0;
    for (double time = 0.0; time + 0.5 <= spoken.Seconds(); time += 0.5) {
        if (const double level = spoken.Rms(time, time + 0.5); level > 0.03) {
            EXPECT_NEAR(std::log2(sung.Rms(time, time + 0.5) / level), 0.0, 2.0) << time;
            ++loud;
        }
    }
    EXPECT_GT(loud, 5);
    ExpectSound(sung, "key 0 9 48 -20~20 key 0 9 55 -20~20 key 0 9 60 -20~20 key 0 9 64 -20~20");
    EXPECT_NE(RunHost("/nowhere", "/nowhere", "/nowhere"), 0);
}

} // namespace

} // namespace orphia::test
