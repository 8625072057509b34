// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/bitcrusher/BitCrusher.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using Velmora::dsp::BitCrusher;
using Velmora::dsp::Quantiser;
using Velmora::dsp::SampleHold;

constexpr std::size_t latency = SampleHold::latency;

/// A converter with equal steps that converts each frame.
const Settings unheld = {{BitCrusher::SampleRate, 48000.0F}, {BitCrusher::Curve, 0.0F}};
/// A hold whose samples are as good as exact.
const Settings fine = {{BitCrusher::Bits, 16.0F}, {BitCrusher::Curve, 0.0F}};

double InDb(double ratio) { return 20.0 * std::log10(ratio); }

/// All four outputs.
std::vector<Signal> PlayAll(const Settings& first, const Settings& then, const Signal& left,
                            const Signal& right, float rate = 44100.0F) {
    return Render(*Make<BitCrusher>(first, then, rate), {&left, &right}, 4, BlockSplit::Of(64));
}

/// Level at a frequency in dB against a full scale sine; the spectrum is that of a signal.
double LevelAt(const std::vector<double>& spectrum, double cyclesPerFrame) {
    const static double fullScale = [] {
        const std::vector<double> sine = Spectrum(Tone(spectrumSize, 0.125, 1.0, 1.0));
        return *std::max_element(sine.begin(), sine.end());
    }();
    const auto at =
        static_cast<std::ptrdiff_t>(std::lround(cyclesPerFrame * static_cast<double>(spectrumSize)));
    return InDb(*std::max_element(spectrum.begin() + at - 3, spectrum.begin() + at + 4) / fullScale);
}

double Power(const Signal& signal, double from, double to) {
    const std::vector<double> spectrum = Spectrum(signal);
    double sum = 0.0;
    for (auto bin = static_cast<std::size_t>(from * spectrumSize);
         bin < static_cast<std::size_t>(to * spectrumSize); ++bin) {
        sum += spectrum[bin] * spectrum[bin];
    }
    return sum;
}

double Sinc(double x) { return std::sin(Velmora::Test::pi * x) / (Velmora::Test::pi * x); }

} // namespace

TEST(BitCrusherTest, NoiseOfTheConverterIsThatOfItsBits) {
    const Signal sine = Tone(44100, 997.0, 44100.0, 1.0);
    for (const float bits : {4.0F, 6.0F, 7.5F, 8.0F, 12.0F}) {
        const auto out = PlayAll(unheld, {{BitCrusher::Bits, bits}}, sine, sine);
        const double ratio = InDb(Rms(sine) / Rms(out[3], 100));
        EXPECT_NEAR(ratio, 6.02 * static_cast<double>(bits) + 1.76, bits < 5.0F ? 1.0 : 0.4)
            << bits << " bits";
        std::set<float> levels;
        for (const float x : sine) {
            Quantiser quantiser(1);
            quantiser.Aim({bits, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F});
            levels.insert(quantiser.Convert(x));
        }
        EXPECT_NEAR(static_cast<double>(levels.size()), std::exp2(static_cast<double>(bits)), 2.0) << bits;
    }
}

TEST(BitCrusherTest, MuLawGivesSoftSoundsThePrecisionThatLoudOnesCanSpare) {
    const auto ratio = [](double level, float mu) {
        const Signal sine = Tone(44100, 997.0, 44100.0, level);
        const auto out = PlayAll(unheld, {{BitCrusher::Bits, 8.0F}, {BitCrusher::Curve, mu}}, sine, sine);
        return InDb(Rms(sine) / Rms(out[2], 100));
    };
    // The textbook value for mu = 255: about 38 dB, nearly whatever the level.
    EXPECT_NEAR(ratio(0.9, 255.0F), 38.0, 1.5);
    EXPECT_NEAR(ratio(0.03, 255.0F), 37.0, 2.5);
    EXPECT_LT(ratio(0.03, 0.0F), 22.0);
    EXPECT_NEAR(ratio(0.9, 0.02F), ratio(0.9, 0.0F), 0.5);
}

TEST(BitCrusherTest, ImagesOfTheHoldAreWhereAndAsStrongAsTheoryHasThem) {
    constexpr double hz = 1031.0;
    for (const float rate : {44100.0F, 96000.0F}) {
        const auto fs = static_cast<double>(rate);
        const Signal sine = Tone(spectrumSize + 4000, hz, fs, 0.5);
        for (const float hold : {3700.0F, 8123.0F, 20011.0F}) {
            const auto fh = static_cast<double>(hold);
            for (const float slope : {0.0F, 1.0F}) {
                const auto out = PlayAll(fine, {{BitCrusher::SampleRate, hold}, {BitCrusher::Slope, slope}},
                                         sine, sine, rate);
                std::vector<double> spectrum = Spectrum(out[0]);
                for (double image = 0.0; image < 14.0; image += 1.0) {
                    for (const double f : {image * fh - hz, image * fh + hz}) {
                        if (f < 0.0 || f > 16000.0) {
                            continue;
                        }
                        // The ramp is a second hold; without one, steps of the samples are all there is.
                        const double gain = std::pow(std::abs(Sinc(f / fh)), slope > 0.0F ? 2.0 : 1.0);
                        const double got = LevelAt(spectrum, f / fs);
                        EXPECT_NEAR(got, InDb(0.5 * gain), gain > 0.01 ? 0.5 : 3.0)
                            << f << " Hz, hold " << hold << ", slope " << slope << " at " << rate;
                        const auto at = static_cast<std::ptrdiff_t>(f / fs * spectrumSize);
                        std::fill(spectrum.begin() + std::max<std::ptrdiff_t>(at - 12, 0),
                                  spectrum.begin() + at + 13, 0.0);
                    }
                }
                for (double f = 100.0; f < 16000.0; f += fs / spectrumSize) {
                    ASSERT_LT(LevelAt(spectrum, f / fs), -64.0)
                        << f << " Hz, hold " << hold << ", slope " << slope << " at " << rate;
                }
            }
        }
    }
}

TEST(BitCrusherTest, AntiAliasKeepsBackWhatTheHoldWouldFold) {
    const Signal sine = Tone(spectrumSize + 4000, 7000.0, 44100.0, 0.5);
    const auto folded = [&](float antiAlias) {
        const auto out = PlayAll(
            fine, {{BitCrusher::SampleRate, 8000.0F}, {BitCrusher::AntiAlias, antiAlias}}, sine, sine);
        return LevelAt(Spectrum(out[0]), 1000.0 / 44100.0);
    };
    EXPECT_NEAR(folded(0.0F), InDb(0.5 * Sinc(0.125)), 0.2);
    EXPECT_LT(folded(1.0F), -40.0);
}

TEST(BitCrusherTest, DitherCarriesWhatIsSmallerThanAStepAndBiasPutsZeroBetweenTwo) {
    const double level = 0.3 / 128.0;
    const Signal sine = Tone(spectrumSize + 4000, 1000.0, 44100.0, level);
    const auto carried = [&](const Settings& settings) { return PlayAll(unheld, settings, sine, sine)[0]; };
    EXPECT_EQ(Peak(carried({{BitCrusher::Bits, 8.0F}}), 100), 0.0F);
    const Signal dithered = carried({{BitCrusher::Bits, 8.0F}, {BitCrusher::Dither, 1.0F}});
    EXPECT_NEAR(LevelAt(Spectrum(dithered), 1000.0 / 44100.0), InDb(level), 0.5);
    const Signal square = carried({{BitCrusher::Bits, 8.0F}, {BitCrusher::Bias, 0.5F}});
    EXPECT_NEAR(LevelAt(Spectrum(square), 1000.0 / 44100.0), InDb(0.5 / 128.0 * 4.0 / Velmora::Test::pi),
                0.3);
    // Whatever noise is set, silence is silent.
    const Signal silent(8800, 0.0F);
    const Settings noisy = {
        {BitCrusher::Dither, 1.0F}, {BitCrusher::BitErrors, 0.5F}, {BitCrusher::Bias, 0.5F}};
    EXPECT_EQ(PlayAll(noisy, {}, silent, silent)[0], silent);
}

TEST(BitCrusherTest, ShapingMovesTheNoiseToTheTreble) {
    const Signal noise = Noise(spectrumSize + 4000, 0.5F, 1);
    const auto error = [&](float shaping) {
        return PlayAll(unheld, {{BitCrusher::Bits, 6.0F}, {BitCrusher::Shaping, shaping}}, noise, noise)[2];
    };
    EXPECT_LT(InDb(std::sqrt(Power(error(1.0F), 0.001, 0.05) / Power(error(0.0F), 0.001, 0.05))), -12.0);
    EXPECT_GT(InDb(std::sqrt(Power(error(1.0F), 0.3, 0.5) / Power(error(0.0F), 0.3, 0.5))), 3.0);
}

TEST(BitCrusherTest, BitErrorsHitTheirShareOfTheSamples) {
    const Signal noise = Noise(44000, 0.5F, 2);
    for (const float share : {0.01F, 0.2F}) {
        const auto out =
            PlayAll(unheld, {{BitCrusher::Bits, 8.0F}, {BitCrusher::BitErrors, share}}, noise, noise);
        const auto wrong =
            std::count_if(out[2].begin(), out[2].end(), [](float e) { return std::abs(e) > 0.51F / 128.0F; });
        // The lowest bit shows in half the cases only.
        EXPECT_NEAR(static_cast<double>(wrong) / 44000.0 / static_cast<double>(share), 15.0 / 16.0, 0.1)
            << share;
    }
}

TEST(BitCrusherTest, ClocksRunTogetherUnlessSplit) {
    const Signal noise = Noise(44000, 0.5F, 3);
    const Settings shaky = {{BitCrusher::Jitter, 0.8F}, {BitCrusher::SampleRate, 8000.0F}};
    const auto together = PlayAll(fine, shaky, noise, noise);
    EXPECT_EQ(together[0], together[1]);
    const Signal sine = Tone(spectrumSize + 4000, 1000.0, 44100.0, 0.5);
    const auto apart =
        PlayAll(fine, {{BitCrusher::SampleRate, 8000.0F}, {BitCrusher::Split, 17.0F}}, sine, sine);
    const double half = std::exp2(8.5 / 1200.0);
    EXPECT_NEAR(LevelAt(Spectrum(apart[0]), (8000.0 / half - 1000.0) / 44100.0), InDb(0.5 * Sinc(0.875)),
                0.5);
    EXPECT_NEAR(LevelAt(Spectrum(apart[1]), (8000.0 * half - 1000.0) / 44100.0), InDb(0.5 * Sinc(0.875)),
                0.5);
    // Back together, they fall in step at once.
    const auto unit = Make<BitCrusher>(fine, {{BitCrusher::Split, 700.0F}});
    Play(*unit, noise, noise);
    Set(*unit, {{BitCrusher::Split, 0.0F}});
    Play(*unit, noise, noise);
    const auto again = Play(*unit, noise, noise);
    EXPECT_EQ(again[0], again[1]);
    // Holds of uneven length keep their mean.
    const auto changes = [&](float jitter) {
        const auto out =
            PlayAll(fine, {{BitCrusher::SampleRate, 4000.0F}, {BitCrusher::Jitter, jitter}}, noise, noise);
        std::size_t count = 0;
        for (std::size_t n = 1; n < noise.size(); ++n) {
            count += out[2][n] != out[2][n - 1] ? 1U : 0U;
        }
        return static_cast<double>(count);
    };
    EXPECT_NEAR(changes(0.0F), 4000.0 * 44000.0 / 44100.0, 20.0);
    EXPECT_NEAR(changes(0.9F) / changes(0.0F), 1.0, 0.05);
}

TEST(BitCrusherTest, DryAndWetAreInTimeAndErrorsMayBeLeftOut) {
    const Signal noise = Noise(8800, 0.5F, 4);
    const auto dry = PlayAll({{BitCrusher::DryWet, 0.0F}}, {}, noise, noise);
    const Signal late(noise.begin(), noise.end() - latency);
    EXPECT_EQ(Signal(dry[0].begin() + latency, dry[0].end()), late);
    // What a hold at the highest rates takes from a tone, and the mean of a hold, half a sample of it late.
    for (const float hold : {48000.0F, 44000.0F, 4000.0F}) {
        const Signal sine = Tone(44100, 300.0, 44100.0, 0.5);
        const auto wet = PlayAll(fine, {{BitCrusher::SampleRate, hold}}, sine, sine);
        const Signal steady(wet[0].end() - 22050, wet[0].end());
        const Signal input(sine.begin() + 22036, sine.begin() + 44086);
        const double turn = std::arg(Transform(steady, 300.0, 44100.0) / Transform(input, 300.0, 44100.0));
        const double frames = -turn * 44100.0 / (2.0 * Velmora::Test::pi * 300.0) - 2.0;
        const double expected = hold > 47000.0F ? 0.0 : 0.5 * 44100.0 / static_cast<double>(hold);
        // The low cut of 20 Hz advances by 3.8 degrees.
        EXPECT_NEAR(frames + 1.55, expected, 0.5) << hold;
    }
    const auto all = PlayAll({}, {}, noise, noise);
    const auto two = Play(*Make<BitCrusher>({}), noise, noise);
    EXPECT_EQ(two[0], all[0]);
    const auto unit = Make<BitCrusher>({});
    std::vector<Signal> io = {noise, noise};
    const std::vector<float*> pointers = {io[0].data(), io[1].data(), nullptr, nullptr};
    RunInPlace(*unit, {io[0].data(), io[1].data()}, pointers, 64);
    EXPECT_TRUE(std::equal(io[0].begin(), io[0].begin() + 64, all[0].begin()));
}

TEST(BitCrusherTest, ControlsAreSmoothAndNoneIsIdle) {
    // Fewer bits, slower holds and wrong bits are steps by themselves.
    ExpectNoSteps<BitCrusher>({fine[0], fine[1], {BitCrusher::SampleRate, 48000.0F}}, 0.005F,
                              {BitCrusher::Bits, BitCrusher::SampleRate, BitCrusher::BitErrors});
    std::vector<Settings> where(BitCrusher::parameterCount, {{BitCrusher::Bits, 3.0F}});
    where[BitCrusher::AntiAlias] = where[BitCrusher::Split] = {{BitCrusher::SampleRate, 6000.0F}};
    ExpectEveryParameterToAct<BitCrusher>(where);
    ExpectModulationToMove<BitCrusher>({BitCrusher::Bits, BitCrusher::SampleRate, BitCrusher::DryWet,
                                        BitCrusher::Drive, BitCrusher::Jitter, BitCrusher::Curve,
                                        BitCrusher::HighCut, BitCrusher::Split},
                                       {{BitCrusher::Bits, 6.0F}});
}

TEST(BitCrusherTest, BlocksResetsAndFaultsLeaveNoTrace) {
    const Settings busy = {{BitCrusher::Jitter, 0.5F},
                           {BitCrusher::Dither, 0.5F},
                           {BitCrusher::Split, 50.0F},
                           {BitCrusher::Shaping, 0.7F},
                           {BitCrusher::AntiAlias, 1.0F}};
    const Settings other = {
        {BitCrusher::SampleRate, 48000.0F}, {BitCrusher::Bits, 3.0F}, {BitCrusher::AntiAlias, 0.0F}};
    ExpectNoTraceOfBlocksResetsAndFaults<BitCrusher>(busy, other, 20.0F);
}
