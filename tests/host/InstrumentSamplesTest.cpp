// SPDX-License-Identifier: GPL-3.0-or-later
#include "InstrumentRig.h"
#include "host/Errors.h"

#include <gtest/gtest.h>

#include <string>

namespace orphia::host {

namespace {

using test::Render;
using test::Sound;

/// What the sampler plays is heard as it is, but for the monitor's own gain.
class InstrumentSamplesTest : public testing::Test {
protected:
    static std::unique_ptr<Instrument> Ready(test::Settings settings = {}, std::uint32_t seed = 1) {
        auto instrument = test::Ready({"ExternalInput=off", "OutputSelection=modulator"}, seed);
        test::Apply(*instrument, settings);
        return instrument;
    }
    static double Level(Instrument& instrument, std::uint32_t slot) {
        instrument.NoteOn(instrument.KeyOf(slot));
        const double level = Render(instrument, 0.2).Rms(0.1);
        instrument.NoteOff(instrument.KeyOf(slot));
        Render(instrument, 0.6);
        return level;
    }
    std::filesystem::path Write(const std::string& name, double level) const {
        test::WriteSound(folder / name, test::Sine(1000.0, 0.5, 44100, 2, level));
        return folder / name;
    }

    test::TemporaryFolder folder;
};

TEST_F(InstrumentSamplesTest, AKeyPlaysTheSampleOfItsSlotOnce) {
    const auto instrument = Ready();
    instrument->LoadSample(0, Write("loud.wav", 0.5));
    instrument->LoadSample(11, Write("soft.wav", 0.05));
    EXPECT_TRUE(instrument->HasSample(0) && instrument->HasSample(11));
    EXPECT_FALSE(instrument->HasSample(5) || instrument->HasSample(12));
    const double loud = Level(*instrument, 0);
    EXPECT_GT(loud, 1e-3);
    EXPECT_NEAR(loud / Level(*instrument, 11), 10.0, 0.2);
    EXPECT_EQ(instrument->Value("IsPlayingSample"), 0.0F);
    instrument->ClearSample(0);
    EXPECT_FALSE(instrument->HasSample(0));
    EXPECT_LT(Level(*instrument, 0), 1e-6);
}

TEST_F(InstrumentSamplesTest, LoadingAgainTakesTheNewFileAndAFailureLeavesTheSampleEmpty) {
    const auto instrument = Ready();
    const auto path = Write("voice.wav", 0.05);
    instrument->LoadSample(0, path);
    const double before = Level(*instrument, 0);
    Write("voice.wav", 0.5);
    instrument->LoadSample(0, path);
    EXPECT_NEAR(Level(*instrument, 0) / before, 10.0, 0.2);
    test::WriteText(path, "no sound");
    EXPECT_THROW(instrument->LoadSample(0, path), FileError);
    EXPECT_FALSE(instrument->HasSample(0));
    EXPECT_TRUE(instrument->SamplePath(0).empty());
    EXPECT_THROW(instrument->LoadSample(0, folder / std::string(300, 'a')), FileError);
    EXPECT_THROW(instrument->LoadSample(Instrument::sampleCount, path), UsageError);
    EXPECT_THROW(instrument->LoadSample(0, ""), FileError);
}

TEST_F(InstrumentSamplesTest, PresetsMoveWithTheirSamples) {
    const auto instrument = Ready({"Sample3_Gain=-6 dB"});
    std::filesystem::create_directory(folder / "here");
    instrument->LoadSample(2, Write("here/beat.wav", 0.5));
    const double level = Level(*instrument, 2);
    WritePreset(folder / "here/beat.json", instrument->CapturePreset("Beat"), instrument->Catalog());
    const std::string text = test::ReadText(folder / "here/beat.json");
    EXPECT_NE(text.find("\"3\": \"beat.wav\""), std::string::npos) << text.substr(text.size() - 100);

    std::filesystem::rename(folder / "here", folder / "there");
    std::vector<std::string> warnings;
    const auto fresh = Ready();
    fresh->LoadSample(0, folder / "there/beat.wav");
    const Preset preset = ReadPreset(folder / "there/beat.json", fresh->Catalog(), warnings);
    EXPECT_TRUE(fresh->LoadPreset(preset).empty());
    EXPECT_EQ(Level(*fresh, 2), level);
    EXPECT_FALSE(fresh->HasSample(0)) << "the preset speaks of samples and does not name it";
    EXPECT_TRUE(fresh->LoadPreset({}).empty());
    EXPECT_TRUE(fresh->HasSample(2)) << "this one does not speak of samples";

    std::filesystem::remove(folder / "there/beat.wav");
    const auto late = Ready();
    const std::vector<std::string> problems = late->LoadPreset(preset);
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_NE(problems[0].find("beat.wav"), std::string::npos) << problems[0];
    EXPECT_NEAR(late->Value("Sample3_Gain"), -6.0F, 1e-4F) << "the rest is there";
}

TEST_F(InstrumentSamplesTest, RandomStartsFollowTheSeed) {
    test::WriteSound(folder / "voice.wav", test::Syllables(1.0));
    const auto play = [&](std::uint32_t seed) {
        const auto instrument = Ready({"PhaseRetrigMode=on"}, seed);
        instrument->LoadSample(0, folder / "voice.wav");
        instrument->NoteOn(instrument->KeyOf(0));
        return Render(*instrument, 0.05).samples;
    };
    EXPECT_EQ(play(1), play(1));
    EXPECT_NE(play(1), play(2));
}

} // namespace

} // namespace orphia::host
