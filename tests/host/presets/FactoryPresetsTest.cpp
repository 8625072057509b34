// SPDX-License-Identifier: GPL-3.0-or-later
// Every preset that comes with the instrument, with the example voice and song.
#include "host/audio/LoudnessMeter.h"
#include "host/player/MidiPlayer.h"
#include "host/presets/Preset.h"
#include "host/presets/PresetLibrary.h"
#include "rigs/InstrumentRig.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using std::filesystem::path;
using test::Sound;

const path examples = ORPHIA_EXAMPLES;
/// Of voice and song; the whole takes twice as long and is as loud within 1 dB.
constexpr double excerptSeconds = 6.0;
/// The longest echo that a delay can make: so long nothing must be heard before a sound is over.
constexpr double longestEcho = 2.1;
constexpr double longestTail = 12.0;
/// -80 dBFS.
constexpr float audible = 1e-4F;

std::vector<path> Files() {
    std::vector<path> files;
    for (const auto& entry :
         std::filesystem::directory_iterator(examples.parent_path() / "presets" / "factory")) {
        if (entry.path().extension() == ".json") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string CaseName(const testing::TestParamInfo<path>& info) {
    std::string name = info.param.stem().string();
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

/// Infinite when some sample is not finite.
float Peak(const Sound& sound) {
    float peak = 0.0F;
    for (const float sample : sound.samples) {
        peak = std::max(peak, std::isfinite(sample) ? std::abs(sample) : HUGE_VALF);
    }
    return peak;
}

/// Goes on without a voice until nothing was audible for `pause` seconds; false when that does not come.
bool FallsSilent(Instrument& instrument, double pause) {
    constexpr double piece = 0.1;
    double quiet = 0.0;
    for (double time = 0.0; time < longestTail && quiet < pause; time += piece) {
        quiet = Peak(test::Render(instrument, piece)) < audible ? quiet + piece : 0.0;
    }
    return quiet >= pause;
}

Sound PlayExcerpt(Instrument& instrument) {
    const Sound voice = test::ReadSound(examples / "voice.flac");
    const MidiFile song = MidiFile::Read(examples / "song.mid");
    const std::size_t block = instrument.FramesPerBlock();
    const std::size_t frames = static_cast<std::size_t>(excerptSeconds * voice.sampleRate) / block * block;
    std::vector<float> heard(2 * frames);
    for (std::size_t n = 0; n < heard.size(); ++n) {
        heard[n] = voice.samples.at(n / 2);
    }
    Sound sound{voice.sampleRate, 2, std::vector<float>(heard.size())};
    MidiPlayer player(song, instrument);
    player.Process(heard, sound.samples);
    return sound;
}

class FactoryPreset : public testing::TestWithParam<path> {
protected:
    void SetUp() override {
        std::vector<std::string> warnings;
        const Preset preset = ReadPreset(GetParam(), instrument->Catalog(), warnings);
        EXPECT_EQ(warnings, std::vector<std::string>{});
        EXPECT_EQ(instrument->LoadPreset(preset), std::vector<std::string>{});
    }

    std::unique_ptr<Instrument> instrument = test::Ready();
};

TEST_P(FactoryPreset, IsLoudEnoughClipsNowhereAndEnds) {
    const Sound sound = PlayExcerpt(*instrument);
    EXPECT_LE(Peak(sound), 1.0F) << "full scale";
    LoudnessMeter meter(static_cast<std::uint32_t>(sound.sampleRate));
    meter.Add(sound.samples);
    const double loudness = meter.IntegratedLoudness().value_or(-99.0);
    EXPECT_GE(loudness, -23.0);
    EXPECT_LE(loudness, -14.0);

    instrument->AllNotesOff();
    EXPECT_TRUE(FallsSilent(*instrument, longestEcho)) << "still sounds";
    // Without a voice the vocoder is silent, so a note that hangs is heard in what goes into it only.
    for (const char* monitor : {"OutputSelection=carrier", "OutputSelection=modulator"}) {
        test::Apply(*instrument, {monitor});
        EXPECT_TRUE(FallsSilent(*instrument, 0.2)) << "hangs: " << monitor;
    }
    EXPECT_EQ(instrument->TakeMessages(), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(All, FactoryPreset, testing::ValuesIn(Files()), CaseName);

TEST(FactoryPresets, AreManyWithNamesOfTheirOwnAndBuiltIn) {
    const std::vector<path> files = Files();
    EXPECT_GE(files.size(), 24U);
    EXPECT_EQ(BuiltInPresets().size(), files.size());
    std::set<std::string> names;
    for (const path& file : files) {
        const PresetSummary summary = ReadPresetSummary(file);
        EXPECT_TRUE(names.insert(summary.name).second) << summary.name << " is there twice";
        EXPECT_FALSE(summary.description.empty()) << summary.name;
    }
}

} // namespace

} // namespace orphia::host
