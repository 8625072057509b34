// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/MeasurePitch.h"
#include "tools/CommandTest.h"

#include <cmath>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace orphia::test {

namespace {

class SampleCommandTest : public CommandTest {
protected:
    SampleCommandTest() { WriteSound(folder / "tone.wav", Sine(440.0, 0.5)); }

    Sound Play(const std::string& arguments) const {
        const Outcome outcome = Run("sample -o out.wav --bits float " + arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "") << arguments;
        return ReadSound(folder / "out.wav");
    }

    /// The left side between two times.
    static std::vector<float> Left(const Sound& sound, double from, double to) {
        std::vector<float> left;
        for (auto n = static_cast<std::size_t>(from * sound.sampleRate);
             n < std::min(sound.Frames(), static_cast<std::size_t>(to * sound.sampleRate)); ++n) {
            left.push_back(sound.samples[2 * n]);
        }
        return left;
    }

    /// When the last of a tone is heard, in seconds. The monitor's preamp then takes a moment to its rest.
    static double ToneEnd(const Sound& sound) {
        const auto last = std::find_if(sound.samples.rbegin(), sound.samples.rend(),
                                       [](float sample) { return std::abs(sample) > 0.05F; });
        return static_cast<double>(sound.samples.rend() - last) / 2.0 / sound.sampleRate;
    }

    /// Where it is loudest, in seconds.
    static double PeakTime(const Sound& sound) {
        const auto peak = std::max_element(sound.samples.begin(), sound.samples.end());
        return static_cast<double>(peak - sound.samples.begin()) / 2.0 / sound.sampleRate;
    }
};

TEST_F(SampleCommandTest, TellsWhatFilesAreAndWhichAreRefusedAndWhy) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> white(-0.5, 0.5);
    const double flat = 220.0 * std::exp2(-0.2 / 12.0);
    WriteSound(folder / "low.flac", Sine(flat, 1.0, 96000, 1, 0.25), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    WriteSound(folder / "noise.wav", Generate(1.0, 44100, 1, [&](double) { return white(random); }));
    WriteSound(folder / "six.wav", Sine(440.0, 0.1, 44100, 6));
    WriteSound(folder / "click.wav", Sine(440.0, 0.0009));
    WriteText(folder / "text.wav", "no audio at all, but long enough to look at");
    const Outcome good = Run("sample tone.wav low.flac noise.wav");
    EXPECT_EQ(good.status, 0) << good.err;
    EXPECT_NE(good.out.find("tone.wav: accepted: stereo, 44100 Hz, 0.500 s (22050 frames), peak -6.0 dBFS, "
                            "pitch 440."),
              std::string::npos)
        << good.out;
    EXPECT_NE(good.out.find("low.flac: accepted: mono, 96000 Hz, 1.000 s (96000 frames), peak -12.0 dBFS, "),
              std::string::npos)
        << good.out;
    EXPECT_NE(good.out.find("(A3 -20 cents)"), std::string::npos) << good.out;
    EXPECT_NE(good.out.find("dBFS, no pitch\n"), std::string::npos) << good.out;

    const Outcome bad = Run("sample six.wav tone.wav click.wav text.wav missing.wav .");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.err, "orphia: 5 of 6 files refused\n");
    EXPECT_EQ(std::count(bad.out.begin(), bad.out.end(), '\n'), 6) << bad.out;
    EXPECT_NE(bad.out.find("six.wav: refused: "), std::string::npos) << bad.out;
    EXPECT_NE(bad.out.find("; 6 channels, 44100 Hz, 0.100 s"), std::string::npos) << bad.out;
    EXPECT_NE(bad.out.find("tone.wav: accepted"), std::string::npos) << bad.out;
    for (const char* name : {"click.wav", "text.wav", "missing.wav", "."}) {
        EXPECT_NE(bad.out.find(std::string("\n") + name + ": refused: "), std::string::npos) << bad.out;
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
        {"--seconds 0.2 --set 'Release=2 ms'", 0.202, 440.0}};
    for (const auto& [arguments, seconds, hertz] : cases) {
        const Sound sound = Play(std::string("tone.wav ") + arguments);
        // A stretched one fades at its end.
        EXPECT_GT(ToneEnd(sound), seconds - 0.025) << arguments;
        EXPECT_LT(ToneEnd(sound), seconds + 0.004) << arguments;
        EXPECT_GT(sound.Seconds(), seconds - 0.004) << arguments;
        EXPECT_LT(sound.Seconds(), seconds + 0.2) << arguments;
        const std::vector<float> middle = Left(sound, 0.4 * seconds, 0.9 * seconds);
        EXPECT_NEAR(Cents(MeasurePitch(middle, hertz, sound.sampleRate), hertz), 0.0, 2.0) << arguments;
    }
}

TEST_F(SampleCommandTest, PlaysBackwardsAtItsLevelAndPlace) {
    const auto bump = [](double time) {
        const double distance = time - 0.1;
        return 0.5 * std::exp(-1e5 * distance * distance) * std::cos(4000.0 * distance);
    };
    WriteSound(folder / "bump.wav", Generate(0.5, 44100, 2, bump));
    EXPECT_NEAR(PeakTime(Play("bump.wav")), 0.1, 0.002);
    EXPECT_NEAR(PeakTime(Play("bump.wav --reverse")), 0.4, 0.002);
    const double whole = Play("tone.wav").Rms();
    EXPECT_NEAR(Play("tone.wav --gain -12").Rms() / whole, std::pow(10.0, -12.0 / 20.0), 0.005);
    const Sound left = Play("tone.wav --pan -1");
    float right = 0.0F;
    for (std::size_t n = 1; n < left.samples.size(); n += 2) {
        right = std::max(right, std::abs(left.samples[n]));
    }
    EXPECT_LT(right, 1e-5F);
    EXPECT_GT(left.Rms(), 0.5 * whole);
}

TEST_F(SampleCommandTest, BadUsageIsStatusTwoAndBadFilesAreStatusOne) {
    WriteText(folder / "text.wav", "no audio at all, but long enough to look at");
    const std::string run = "sample tone.wav -o out.wav ";
    ExpectFailure("sample", 2, "FILE");
    ExpectFailure("sample tone.wav --stretch 2", 2, "--stretch needs -o");
    ExpectFailure(run + "text.wav", 2, "one FILE");
    ExpectFailure(run + "--stretch 9", 2, "--stretch: '9' is outside 0.25 .. 8");
    ExpectFailure(run + "--transpose 37", 2, "--transpose: '37' is outside -36 st .. 36 st");
    ExpectFailure(run + "--pan left", 2, "--pan");
    ExpectFailure(run + "--loop=sideways", 2, "--loop");
    ExpectFailure(run + "--trim 0.4", 2, "START:STOP");
    ExpectFailure(run + "--trim 0.4:0.3", 2, "--trim");
    ExpectFailure(run + "--loop-range 0.1:0.6", 2, "--loop-range: '0.6' is outside 0 s .. 500 ms");
    ExpectFailure(run + "--seconds 0", 2, "--seconds");
    ExpectFailure("sample text.wav -o out.wav", 1, "text.wav: ");
}

} // namespace

} // namespace orphia::test
