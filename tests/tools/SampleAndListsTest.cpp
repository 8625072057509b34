// SPDX-License-Identifier: GPL-3.0-or-later
// The commands sample, params, presets and info.
#include "rigs/MeasurePitch.h"
#include "tools/CommandTest.h"

#include <algorithm>
#include <random>
#include <regex>
#include <string>
#include <tuple>

namespace orphia::test {

namespace {

auto LineCount(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

class SampleCommandTest : public CommandTest {
protected:
    SampleCommandTest() { WriteSound(folder / "tone.wav", Sine(440.0, 0.5)); }

    Sound Play(const std::string& arguments) const { return Render("sample " + arguments); }
};

TEST_F(SampleCommandTest, TellsWhatFilesAreAndWhichAreRefusedAndWhy) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> white(-0.5, 0.5);
    const double flat = 220.0 * std::exp2(-0.2 / 12.0);
    WriteSound(folder / "low.flac", Sine(flat, 1.0, 96000, 1, 0.25), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    WriteSound(folder / "noise.wav", Generate(1.0, 44100, 1, [&](double) { return white(random); }));
    WriteSound(folder / "six.wav", Sine(440.0, 0.1, 44100, 6));
    WriteSound(folder / "click.wav", Sine(440.0, 0.0009));
    WriteSound(folder / "slow.wav", Sine(3.0, 1.0, 100));
    WriteSound(folder / "none.wav", Generate(0.1, 44100, 1, [](double) { return NAN; }));
    WriteSound(folder / "gap.wav", Generate(0.1, 44100, 2, [](double t) { return t < 0.01 ? NAN : 0.5; }));
    WriteText(folder / "text.wav", "no audio at all, but long enough to look at");
    const std::string good = Tell("sample tone.wav low.flac noise.wav gap.wav");
    EXPECT_PRED2(Has, good, "no pitch, 882 samples are no numbers and play as silence\n");
    EXPECT_PRED2(Has, good,
                 "tone.wav: accepted: stereo, 44100 Hz, 0.500 s (22050 frames), peak -6.0 dBFS, pitch 440.");
    EXPECT_PRED2(Has, good, "low.flac: accepted: mono, 96000 Hz, 1.000 s (96000 frames), peak -12.0 dBFS, ");
    EXPECT_PRED2(Has, good, "(A3 -20 cents)");
    EXPECT_PRED2(Has, good, "dBFS, no pitch\n");
    const Outcome bad = Run("sample six.wav tone.wav click.wav text.wav missing.wav . slow.wav none.wav");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.err, "orphia: 7 of 8 files refused\n");
    EXPECT_EQ(LineCount(bad.out), 8) << bad.out;
    for (const char* part :
         {"six.wav: refused: ", "; 6 channels, 44100 Hz, 0.100 s", "\ntone.wav: accepted",
          "\nclick.wav: refused: ", "\ntext.wav: refused: ", "\nmissing.wav: refused: ", "\n.: refused: ",
          "\nslow.wav: refused: has a sample rate of 100 Hz", "\nnone.wav: refused: holds nothing"}) {
        EXPECT_PRED2(Has, bad.out, part);
    }
}

TEST_F(SampleCommandTest, LengthAndPitchFollowStretchTranspositionAndRate) {
    const std::tuple<const char*, double, double> cases[] = {
        {"", 0.5, 440.0},
        {"--stretch 2", 1.0, 440.0},
        {"--stretch 0.5", 0.25, 440.0},
        {"--transpose 12", 0.25, 880.0},
        {"--transpose -7.5", 0.5 * std::exp2(7.5 / 12.0), 440.0 * std::exp2(-7.5 / 12.0)},
        {"--transpose 12 --stretch 2", 0.5, 880.0},
        {"--rate 48000", 0.5, 440.0},
        {"--trim 0.1:80%", 0.3, 440.0},
        {"--trim :100ms --repeat", 0.2, 440.0},
        {"--loop --set 'Release=2 ms'", 1.0, 440.0},
        {"--loop --loop-range 0.1:0.3 --crossfade 20ms --seconds 0.9 --set 'Release=2 ms'", 0.902, 440.0},
        {"--seconds 0.2 --set 'Release=2 ms'", 0.202, 440.0}};
    for (const auto& [arguments, seconds, hertz] : cases) {
        SCOPED_TRACE(arguments);
        const Sound sound = Play(std::string("tone.wav ") + arguments);
        // When the last of it is heard; a stretched one fades at its end, then the monitor's preamp rests.
        const auto last = std::find_if(sound.samples.rbegin(), sound.samples.rend(),
                                       [](float sample) { return std::abs(sample) > 0.05F; });
        const double end = static_cast<double>(sound.samples.rend() - last) / 2.0 / sound.sampleRate;
        EXPECT_TRUE(end > seconds - 0.025 && end < seconds + 0.004) << end;
        EXPECT_NEAR(sound.Seconds(), seconds + 0.098, 0.102);
        const std::vector<float> middle = sound.Left(0.4 * seconds, 0.9 * seconds);
        EXPECT_NEAR(Cents(MeasurePitch(middle, hertz, sound.sampleRate), hertz), 0.0, 2.0);
    }
}

TEST_F(SampleCommandTest, EveryOptionSetsItsParameter) {
    Play("tone.wav --gain -12 --pan -1 --reverse --loop=back --loop-range 100ms:60% --crossfade 20ms "
         "--seconds 0.2 "
         "--save-preset my.json");
    const std::string preset = ReadText(folder / "my.json");
    for (const char* setting :
         {"Sample1_Gain\": \"-12 dB\"", "Slot1_Pan\": \"0\"", "Slot1_Reverse\": \"on\"",
          "LoopStart\": \"0.2\"", "LoopStop\": \"0.6\"", "LoopType\": \"back and forth\"", "LoopOn\": \"on\"",
          "CrossFade\": \"0.0999"}) {
        EXPECT_PRED2(Has, preset, setting);
    }
}

class ListCommandsTest : public CommandTest {};

TEST_F(ListCommandsTest, ParametersArePrintedAsTheDocumentHasThemAndFoundByPartsOfTheirNames) {
    const std::string document = ReadText(std::filesystem::path(ORPHIA_EXAMPLES) / "../docs/parameters.md");
    // Not EXPECT_EQ, which would print both.
    EXPECT_TRUE(Tell("params --markdown") == document)
        << "an id, a name or a range has changed. Ids and names must not, as hosts and presets hold them; "
           "for anything else: orphia params --markdown >docs/parameters.md";
    EXPECT_EQ(LineCount(Tell("params")), 2359 + 1);
    EXPECT_EQ(LineCount(Tell("params osc1waveform")), 1 + 1);
    const std::string cutoffs = Tell("params 'modulator*CUTOFF'");
    EXPECT_EQ(LineCount(cutoffs), 5 + 1) << cutoffs;
}

TEST_F(ListCommandsTest, PresetsAreListedAndShown) {
    EXPECT_TRUE(std::regex_search(Tell("presets"), std::regex("\ndefault +[A-Z]")));
    WriteText(folder / "mine.json", R"({"format": "orphia-preset", "version": 1, "name": "Mine",
        "description": "For a test.", "parameters": {"MasterVolume": "-3 dB"}, "samples": {"2": "a.wav"}})");
    const std::string shown = Tell("presets mine.json");
    EXPECT_TRUE(shown.starts_with("Mine\nFor a test.\n")) << shown;
    EXPECT_PRED2(Has, shown, "MasterVolume  -3 dB");
    EXPECT_TRUE(std::regex_search(shown, std::regex("sample 2 .*/a\\.wav"))) << shown;
}

TEST_F(ListCommandsTest, InfoMeasuresTheEngine) {
    const std::string told = Tell("info --rate 96000");
    for (const char* part : {"block       96 frames, 1.000 ms\nlatency     96 frames", "interface 8\n",
                             "parameters  2359\n", "creation    "}) {
        EXPECT_PRED2(Has, told, part);
    }
    std::smatch found;
    ASSERT_TRUE(std::regex_search(told, found, std::regex("memory      ([0-9.]+) MiB"))) << told;
    EXPECT_GT(std::stod(found[1]), 0.1);
}

} // namespace

} // namespace orphia::test
