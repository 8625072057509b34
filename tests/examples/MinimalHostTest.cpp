// SPDX-License-Identifier: GPL-3.0-or-later
// The host of one file that the documents begin with: built as they say, and run as a user would.
#include "rigs/MeasurePitch.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

#include <complex>
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

/// Magnitude of the left side at a frequency.
double LevelAt(const std::vector<float>& left, double rate, double hertz) {
    std::complex<double> sum = 0.0;
    for (std::size_t n = 0; n < left.size(); ++n) {
        const double place = static_cast<double>(n) / static_cast<double>(left.size());
        const double window = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * place);
        sum += left[n] * window *
               std::polar(1.0, -2.0 * std::numbers::pi * hertz / rate * static_cast<double>(n));
    }
    return std::abs(sum);
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
    const std::vector<float> left = sung.Left(0.0, 1e9);
    for (const int note : {48, 55, 60, 64}) {
        const double beside = std::max(LevelAt(left, sung.sampleRate, NoteHz(note + 0.5)),
                                       LevelAt(left, sung.sampleRate, NoteHz(note - 0.5)));
        EXPECT_GT(LevelAt(left, sung.sampleRate, NoteHz(note)), 4.0 * beside) << "note " << note;
    }
    EXPECT_NE(RunHost("/nowhere", "/nowhere", "/nowhere"), 0);
}

} // namespace

} // namespace orphia::test
