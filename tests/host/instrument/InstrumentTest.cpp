// SPDX-License-Identifier: GPL-3.0-or-later
// The instrument as shells play it, through the library.
#include "host/instrument/Instrument.h"

#include "host/common/Errors.h"
#include "rigs/InstrumentRig.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

namespace orphia::host {

namespace {

using test::Has;
using test::Ready;
using test::Render;
using test::Sound;

Sound RenderChord(Instrument& instrument, double seconds) {
    for (const unsigned note : {48U, 55U, 64U}) {
        instrument.NoteOn(note);
    }
    return Render(instrument, seconds, test::Syllables(seconds, static_cast<int>(instrument.SampleRate())));
}

TEST(Instrument, AllNotesOffAndPanicEndWhatSounds) {
    const auto instrument = Ready({"OutputSelection=carrier", "Attack=2 ms", "Release=10 ms"});
    instrument->NoteOn(60);
    instrument->NoteOn(60);
    instrument->Send({0xB0, 64, 127});
    Render(*instrument, 0.1);
    instrument->AllNotesOff();
    Render(*instrument, 0.1);
    EXPECT_LT(Render(*instrument, 0.1).Rms(), 1e-5) << "twice, and with the pedal";
    EXPECT_GT(RenderChord(*instrument, 0.1).Rms(), 1e-3);
    instrument->Panic();
    EXPECT_EQ(Render(*instrument, 0.1).Rms(0.01), 0.0);
    EXPECT_GT(RenderChord(*instrument, 0.1).Rms(), 1e-3) << "alive after a panic";
}

/// Every control somewhere else, as far as that leaves a sound.
void Scramble(Instrument& instrument, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> place(0.3F, 0.7F);
    for (const ParameterInfo& info : instrument.Catalog().Parameters()) {
        const bool isMoved =
            info.role == ParameterRole::Control || (info.role == ParameterRole::Route && random() % 20 == 0);
        if (isMoved && !Has(info.name, "Waveform") && !Has(info.name, "Volume")) {
            instrument.Set({info.id, ParameterSetting::Scale::Position, place(random)});
        }
    }
    test::Apply(instrument, {"OutputSelection=vocoder", "ExternalInput=on", "SampleHold=off", "FX_Enable=on",
                             "FX1_ModuleType=delay", "FX2_ModuleType=phaser", "FX3_ModuleType=reverb",
                             "VoiceInputGate_Threshold=-55 dB", "VoiceInputGate_Hold=10 ms", "Attack=5 ms"});
}

/// Of all that is not the circuit's own, which the engine may move.
void ExpectSamePositions(const Instrument& a, const Instrument& b) {
    for (const ParameterInfo& info : a.Catalog().Parameters()) {
        if (info.role != ParameterRole::Output && info.role != ParameterRole::Circuit) {
            EXPECT_EQ(a.Position(info.id), b.Position(info.id)) << info.name;
        }
    }
}

TEST(Instrument, APresetBringsTheSoundBackToTheBitAndLeavesNothingOfTheOneBefore) {
    const auto original = Ready();
    Scramble(*original, 3);
    const Preset preset = original->CapturePreset("Glass \"1\"\n\u00e4");
    std::vector<std::string> warnings;
    const Preset read = ParsePreset(FormatPreset(preset, original->Catalog()), original->Catalog(), warnings);
    EXPECT_TRUE(warnings.empty());
    EXPECT_EQ(read.name, preset.name);
    EXPECT_EQ(read.settings, preset.settings);
    const auto fresh = Ready();
    EXPECT_TRUE(fresh->LoadPreset(read).empty());
    ExpectSamePositions(*fresh, *original);
    const auto used = Ready();
    Scramble(*used, 2);
    used->Set("Analysis3_Synthesis7", "-0.5");
    used->Set("BodeVocoder_HFChannel_FcLP", "800 Hz");
    RenderChord(*used, 0.2);
    used->LoadPreset(read);
    ExpectSamePositions(*used, *original);
    EXPECT_EQ(used->CapturePreset().settings, preset.settings);
    const Sound sound = RenderChord(*original, 1.0);
    EXPECT_GT(sound.Rms(), 1e-4);
    EXPECT_EQ(RenderChord(*fresh, 1.0).samples, sound.samples);
    EXPECT_FALSE(Velmora::Platform::Environment("ORPHIA_SEED")) << "the seed has a way of its own";
    EXPECT_NE(RenderChord(*Ready({}, 2), 0.2).samples, RenderChord(*Ready(), 0.2).samples) << "other noise";
}

TEST(Instrument, NonsenseComesToNoHarm) {
    const auto instrument = Ready();
    EXPECT_THROW(instrument->Set("Panic", "on"), UsageError);
    EXPECT_THROW(instrument->SetSampleRate(384001), UsageError);
    const auto before = instrument->CapturePreset();
    const std::uint32_t volume = instrument->Catalog().Find("MasterVolume").id;
    for (const float number : {std::nanf(""), HUGE_VALF}) {
        instrument->Set({volume, ParameterSetting::Scale::Value, number});
        instrument->Control(volume, number);
    }
    instrument->Set({1'000'000, ParameterSetting::Scale::Value, 1.0F});
    instrument->Set({instrument->Catalog().Find("Wet").id, ParameterSetting::Scale::Position, 2.0F});
    instrument->Set({instrument->Catalog().Find("Panic").id, ParameterSetting::Scale::Value, 1.0F});
    EXPECT_EQ(instrument->CapturePreset().settings, before.settings);
    EXPECT_GT(RenderChord(*instrument, 0.5).Rms(), 0.01);
    EXPECT_EQ(instrument->TakeMessages(), std::vector<std::string>{});
}

TEST(Instrument, ShiftAndWidthThatMoveWhileItPlaysArriveWhereTheyWouldHaveBegun) {
    // Narrow bands ring longer.
    for (const auto& [there, from] : {std::pair{"Shift=1", 0.1}, {"SynthesizerFilterBank_Width=-1", 0.4}}) {
        const auto begun = Ready({there});
        const auto moved = Ready();
        RenderChord(*begun, 0.2);
        RenderChord(*moved, 0.2);
        test::Apply(*moved, {there});
        const Sound expected = RenderChord(*begun, 0.8);
        EXPECT_LT((RenderChord(*moved, 0.8) - expected).Rms(from), expected.Rms(from) * 1e-3) << there;
    }
}

TEST(Instrument, AHoldThatIsOnFromTheStartHoldsTheFirstSoundAtEveryRate) {
    const auto rests = [](Instrument& instrument) {
        RenderChord(instrument, 1.0);
        return Render(instrument, 0.5).Rms(0.2);
    };
    const auto fresh = Ready();
    fresh->LoadPreset(Ready({"SampleHold=on"})->CapturePreset());
    Render(*fresh, 0.3);
    EXPECT_EQ(fresh->Value("SampleHold"), 1.0F);
    const double held = rests(*fresh);
    EXPECT_GT(held, 0.004) << "sounds on without a voice";
    fresh->SetTransport({120.0, 4.0, true});
    fresh->SetSampleRate(48000);
    EXPECT_GT(rests(*fresh), held / 4) << "and at another rate";
    EXPECT_NEAR(fresh->CurrentTransport().beat, 7.0, 0.01) << "a second and a half later";
    fresh->Set("SampleHold", "off");
    EXPECT_LT(rests(*fresh), held / 50);
}

/// What the sampler plays is heard as it is, but for the monitor's own gain.
class InstrumentSamplesTest : public testing::Test {
protected:
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

TEST_F(InstrumentSamplesTest, LoadingAgainTakesTheNewFileAndClearingOrAFailureLeavesTheSampleEmpty) {
    const auto instrument = Ready({"ExternalInput=off", "OutputSelection=modulator"});
    const auto path = Write("voice.wav", 0.05);
    instrument->LoadSample(0, path);
    const double before = Level(*instrument, 0);
    Write("voice.wav", 0.5);
    instrument->LoadSample(0, path);
    EXPECT_NEAR(Level(*instrument, 0) / before, 10.0, 0.2);
    EXPECT_FALSE(instrument->HasSample(5) || instrument->HasSample(12));
    instrument->ClearSample(0);
    EXPECT_LT(Level(*instrument, 0), 1e-6);
    test::WriteText(path, "no sound");
    for (const auto& file : {path, folder / std::string(300, 'a'), std::filesystem::path()}) {
        EXPECT_THROW(instrument->LoadSample(0, file), FileError) << file;
        EXPECT_FALSE(instrument->HasSample(0));
        EXPECT_TRUE(instrument->SamplePath(0).empty());
    }
    EXPECT_THROW(instrument->LoadSample(Instrument::sampleCount, path), UsageError);
}

TEST_F(InstrumentSamplesTest, PresetsMoveWithTheirSamples) {
    const auto instrument = Ready({"ExternalInput=off", "OutputSelection=modulator", "Sample3_Gain=-6 dB"});
    std::filesystem::create_directory(folder / "here");
    instrument->LoadSample(2, Write("here/beat.wav", 0.5));
    const double level = Level(*instrument, 2);
    WritePreset(folder / "here/beat.json", instrument->CapturePreset("Beat"), instrument->Catalog());
    std::filesystem::rename(folder / "here", folder / "there");
    std::vector<std::string> warnings;
    const auto fresh = Ready({"ExternalInput=off", "OutputSelection=modulator"});
    fresh->LoadSample(0, folder / "there/beat.wav");
    const Preset preset = ReadPreset(folder / "there/beat.json", fresh->Catalog(), warnings);
    EXPECT_TRUE(fresh->LoadPreset(preset).empty());
    EXPECT_EQ(Level(*fresh, 2), level);
    EXPECT_FALSE(fresh->HasSample(0)) << "the preset speaks of samples and does not name it";
    EXPECT_TRUE(fresh->LoadPreset({}).empty());
    EXPECT_TRUE(fresh->HasSample(2)) << "this one does not speak of samples";

    std::filesystem::remove(folder / "there/beat.wav");
    const auto late = Ready({"ExternalInput=off", "OutputSelection=modulator"});
    const std::vector<std::string> problems = late->LoadPreset(preset);
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_PRED2(Has, problems[0], "beat.wav");
    EXPECT_NEAR(late->Value("Sample3_Gain"), -6.0F, 1e-4F) << "the rest is there";
}

TEST(Instrument, ASmoothDriveStaysThroughPresetsAndRatesAndIsOffAtFirst) {
    const auto play = [](const std::vector<bool>& switches) {
        const auto instrument = Ready();
        for (const bool isOn : switches) {
            instrument->SetSmoothDrive(isOn);
        }
        instrument->SetSampleRate(48000);
        instrument->LoadPreset({});
        test::Apply(*instrument, {"OutputSelection=carrier", "Osc1Shape=0.3"});
        return RenderChord(*instrument, 0.2).samples;
    };
    EXPECT_EQ(play({}), play({true, false}));
    EXPECT_NE(play({}), play({true}));
}

} // namespace

} // namespace orphia::host
