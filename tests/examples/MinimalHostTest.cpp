// SPDX-License-Identifier: GPL-3.0-or-later
// The host of one file that the documents begin with: built as they say, and run as a user would.
#include "rigs/MeasurePitch.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>
#include <sndfile.hh>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

namespace orphia::test {
namespace {

/// RMS in dB below full scale of each half second, both sides together.
std::vector<double> LevelsOf(const std::filesystem::path& path) {
    SndfileHandle file(path.string());
    std::vector<float> half(static_cast<std::size_t>(file.samplerate() / 2 * file.channels()));
    std::vector<double> levels;
    while (file.read(half.data(), static_cast<sf_count_t>(half.size())) ==
           static_cast<sf_count_t>(half.size())) {
        double energy = 1e-12;
        for (const float sample : half) {
            energy += static_cast<double>(sample) * sample / static_cast<double>(half.size());
        }
        levels.push_back(10.0 * std::log10(energy));
    }
    return levels;
}

/// Level in dB of the left side at a frequency.
double LevelAt(const std::filesystem::path& path, double hz) {
    SndfileHandle file(path.string());
    std::vector<float> sound(static_cast<std::size_t>(file.frames() * file.channels()));
    file.readf(sound.data(), file.frames());
    const auto frames = static_cast<double>(file.frames());
    std::complex<double> sum = 0.0;
    for (std::size_t n = 0; n < sound.size() / 2; ++n) {
        const double window = std::sin(std::numbers::pi * static_cast<double>(n) / frames);
        const double angle = 2.0 * std::numbers::pi * hz / file.samplerate() * static_cast<double>(n);
        sum += static_cast<double>(sound[2 * n]) * window * window * std::polar(1.0, -angle);
    }
    return 20.0 * std::log10(std::abs(sum) / frames + 1e-9);
}

/// Status of the host, zero when all went well.
int RunHost(const std::vector<std::string>& arguments) {
    std::string line = "'" ORPHIA_MINIMAL_HOST "'";
    for (const std::string& argument : arguments) {
        line.append(" '").append(argument).append("'");
    }
    return std::system(line.append(" >/dev/null").c_str());
}

TEST(MinimalHostTest, SpeaksThroughItsChordAsLoudAsTheVoice) {
    const TemporaryFolder folder;
    const auto voice = std::filesystem::path(ORPHIA_EXAMPLES) / "voice.flac";
    const auto result = folder / "out.wav";
    ASSERT_EQ(RunHost({ORPHIA_ENGINE_LIBRARY, voice.string(), result.string()}), 0);
    const std::vector<double> spoken = LevelsOf(voice);
    const std::vector<double> sung = LevelsOf(result);
    ASSERT_EQ(sung.size(), spoken.size());
    std::size_t loud = 0;
    for (std::size_t half = 0; half < sung.size(); ++half) {
        SCOPED_TRACE(half);
        if (spoken[half] > -30.0) {
            EXPECT_NEAR(sung[half], spoken[half], 12.0);
            ++loud;
        }
    }
    EXPECT_GT(loud, 5U);
    for (const int note : {48, 55, 60, 64}) {
        const double above = LevelAt(result, NoteHz(note + 0.5));
        const double below = LevelAt(result, NoteHz(note - 0.5));
        EXPECT_GT(LevelAt(result, NoteHz(note)), std::max(above, below) + 12.0) << "note " << note;
    }
}

TEST(MinimalHostTest, RefusesWhatIsNoEngine) { EXPECT_NE(RunHost({"/nowhere", "/nowhere", "/nowhere"}), 0); }

} // namespace
} // namespace orphia::test
