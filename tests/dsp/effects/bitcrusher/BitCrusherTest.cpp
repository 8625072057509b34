// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/bitcrusher/BitCrusher.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using Velmora::dsp::BitCrusher;
using Velmora::dsp::Quantiser;
using Velmora::dsp::SampleHold;

/// A converter with equal steps that converts each frame.
const Settings unheld = {{BitCrusher::SampleRate, 48000.0F}, {BitCrusher::Curve, 0.0F}};
/// A hold whose samples are as good as exact.
const Settings fine = {{BitCrusher::Bits, 16.0F}, {BitCrusher::Curve, 0.0F}};

double InDb(double ratio) { return 20.0 * std::log10(ratio); }
double Sinc(double x) { return std::sin(Velmora::Test::pi * x) / (Velmora::Test::pi * x); }

/// All four outputs.
std::vector<Signal> PlayAll(const Settings& first, const Settings& then, const Signal& in,
                            float rate = 44100.0F) {
    return Render(*Make<BitCrusher>(first, then, rate), {&in, &in}, 4, BlockSplit::Of(64));
}

Signal Sine(double hz, double level, double rate = 44100.0) {
    return Tone(spectrumSize + 4000, hz, rate, level);
}

/// Level at a frequency in dB against a full scale sine; the spectrum is that of a signal.
double LevelAt(const std::vector<double>& spectrum, double cyclesPerFrame) {
    const static double fullScale = [] {
        const std::vector<double> sine = Spectrum(Sine(0.125, 1.0, 1.0));
        return *std::max_element(sine.begin(), sine.end());
    }();
    const auto at = spectrum.begin() + std::lround(cyclesPerFrame * static_cast<double>(spectrumSize));
    return InDb(*std::max_element(at - 3, at + 4) / fullScale);
}

/// Root of the power between two frequencies, in cycles per frame.
double Level(const Signal& signal, double from, double to) {
    const std::vector<double> spectrum = Spectrum(signal);
    double sum = 0.0;
    for (auto bin = static_cast<std::size_t>(from * spectrumSize); bin < static_cast<std::size_t>(to * spectrumSize); ++bin) {
        sum += spectrum[bin] * spectrum[bin];
    }
    return std::sqrt(sum);
}

} // namespace

TEST(BitCrusherTest, TheConverterHasTheStepsAndTheNoiseOfItsBits) {
    const Signal sine = Tone(44100, 997.0, 44100.0, 1.0);
    for (const float bits : {4.0F, 6.0F, 7.5F, 8.0F, 12.0F}) {
        const auto out = PlayAll(unheld, {{BitCrusher::Bits, bits}}, sine);
        EXPECT_NEAR(InDb(Rms(sine) / Rms(out[3], 100)), 6.02 * static_cast<double>(bits) + 1.76,
                    bits < 5.0F ? 1.0 : 0.4)
            << bits << " bits";
        Quantiser quantiser(1);
        for (const float bias : {0.0F, 0.5F, 0.2F}) {
            quantiser.Set({.bits = bits, .bias = bias});
            for (float x = -0.89F; x < 0.9F; x += 0.0137F) {
                // The nearest of the levels, which the bias shifts down.
                const double step = std::exp2(1.0 - static_cast<double>(bits));
                const double b = static_cast<double>(bias);
                EXPECT_NEAR(quantiser.Convert(x), (std::floor(x / step + 0.5 + b) - b) * step, 1e-6) << x;
            }
        }
    }
    // The textbook value for a mu-law of 255 and 8 bits: about 38 dB, nearly whatever the level.
    const auto ratio = [](double level, float mu) {
        const Signal soft = Tone(44100, 997.0, 44100.0, level);
        const auto out = PlayAll(unheld, {{BitCrusher::Bits, 8.0F}, {BitCrusher::Curve, mu}}, soft);
        return InDb(Rms(soft) / Rms(out[2], 100));
    };
    EXPECT_NEAR(ratio(0.9, 255.0F), 38.0, 1.0);
    EXPECT_NEAR(ratio(0.03, 255.0F), 37.0, 1.5);
    EXPECT_NEAR(ratio(0.9, 0.02F), ratio(0.9, 0.0F), 0.5);
}

TEST(BitCrusherTest, ImagesOfTheHoldAreWhereAndAsStrongAsTheoryHasThem) {
    constexpr double hz = 1031.0;
    for (const auto& [fs, fh, slope] : {std::tuple(44100.0, 3700.0, 0.0F),
                                        {44100.0, 8123.0, 1.0F},
                                        {96000.0, 8123.0, 0.0F},
                                        {96000.0, 20011.0, 1.0F}}) {
        const Settings hold = {{BitCrusher::SampleRate, float(fh)}, {BitCrusher::Slope, slope}};
        std::vector<double> spectrum = Spectrum(PlayAll(fine, hold, Sine(hz, 0.5, fs), float(fs))[0]);
        for (double image = 0.0; image < 14.0; image += 0.5) {
            const double f = std::floor(image + 0.5) * fh + (image == std::floor(image) ? hz : -hz);
            if (f > 0.0 && f < 16000.0) {
                // The ramp is a second hold; without one, steps of the samples are all there is.
                const double gain = std::pow(std::abs(Sinc(f / fh)), slope > 0.0F ? 2.0 : 1.0);
                EXPECT_NEAR(LevelAt(spectrum, f / fs), InDb(0.5 * gain), gain > 0.01 ? 0.5 : 3.0)
                    << f << " Hz, hold " << fh << ", slope " << slope << " at " << fs;
                const auto at = spectrum.begin() + static_cast<std::ptrdiff_t>(f / fs * spectrumSize);
                std::fill(at - 12, at + 13, 0.0);
            }
        }
        for (double f = 100.0; f < 16000.0; f += fs / spectrumSize) {
            ASSERT_LT(LevelAt(spectrum, f / fs), -64.0) << f << " Hz, hold " << fh << ", slope " << slope;
        }
    }
}

TEST(BitCrusherTest, FiltersAreButterworthAheadOfTheHoldAndBehind) {
    const auto butterworth = [](double hz, double corner, double order) {
        const double w = std::abs(Velmora::Test::AnalogueFrequency(hz, corner, 44100.0));
        return 0.5 / std::sqrt(1.0 + std::pow(w, 2.0 * order));
    };
    // At 0.4 of the hold's rate; what folds is heard at the distance from it.
    for (const double hz : {3000.0, 4500.0, 6000.0}) {
        const Settings hold = {{BitCrusher::SampleRate, 8000.0F}, {BitCrusher::AntiAlias, 1.0F}};
        const auto out = PlayAll(fine, hold, Sine(hz, 0.5));
        const double level = butterworth(hz, 3200.0, 6.0) * std::abs(Sinc(1.0 - hz / 8000.0));
        EXPECT_NEAR(LevelAt(Spectrum(out[0]), (8000.0 - hz) / 44100.0), InDb(level), 0.2) << hz;
    }
    for (const double hz : {500.0, 2000.0, 9000.0}) {
        const Settings cuts = {
            {BitCrusher::Bits, 16.0F}, {BitCrusher::LowCut, 1000.0F}, {BitCrusher::HighCut, 2000.0F}};
        const double level = butterworth(hz, 2000.0, 2.0) / std::hypot(1.0, 1000.0 / hz);
        EXPECT_NEAR(LevelAt(Spectrum(PlayAll(unheld, cuts, Sine(hz, 0.5))[1]), hz / 44100.0), InDb(level),
                    0.4);
    }
}

TEST(BitCrusherTest, NoiseIsOfItsKindAndSilenceStaysSilent) {
    const double level = 0.3 / 128.0;
    const auto carried = [&](const Settings& settings) {
        return PlayAll(unheld, settings, Sine(1000.0, level));
    };
    EXPECT_EQ(Peak(carried({{BitCrusher::Bits, 8.0F}})[0], 100), 0.0F);
    const auto dithered = carried({{BitCrusher::Bits, 8.0F}, {BitCrusher::Dither, 1.0F}});
    EXPECT_NEAR(LevelAt(Spectrum(dithered[0]), 1000.0 / 44100.0), InDb(level), 0.5);
    // Triangular noise of one step either way makes the error white and half a step strong.
    EXPECT_NEAR(Rms(dithered[2], 100) * 128.0, 0.5, 0.01);
    EXPECT_NEAR(Level(dithered[2], 0.0, 0.25) / Level(dithered[2], 0.25, 0.5), 1.0, 0.02);
    const Signal square = carried({{BitCrusher::Bits, 8.0F}, {BitCrusher::Bias, 0.5F}})[0];
    EXPECT_NEAR(LevelAt(Spectrum(square), 1000.0 / 44100.0), InDb(2.0 / 128.0 / Velmora::Test::pi), 0.3);
    const Signal noise = Noise(spectrumSize + 4000, 0.5F, 1);
    const auto error = [&](float shaping) {
        return PlayAll(unheld, {{BitCrusher::Bits, 6.0F}, {BitCrusher::Shaping, shaping}}, noise)[2];
    };
    // 1 - z^-1.
    EXPECT_NEAR(Level(error(1.0F), 0.01, 0.02) / Level(error(0.0F), 0.01, 0.02), 0.094, 0.01);
    EXPECT_NEAR(Level(error(1.0F), 0.4, 0.5) / Level(error(0.0F), 0.4, 0.5), 1.97, 0.1);
    for (const float share : {0.01F, 0.2F}) {
        const Signal wrong =
            PlayAll(unheld, {{BitCrusher::Bits, 8.0F}, {BitCrusher::BitErrors, share}}, noise)[2];
        const auto count =
            std::count_if(wrong.begin(), wrong.end(), [](float e) { return std::abs(e) > 0.51F / 128.0F; });
        // The lowest bit shows in half the cases only.
        EXPECT_NEAR(static_cast<double>(count) / static_cast<double>(noise.size()) / share, 15.0 / 16.0,
                    0.06);
    }
    const Signal silent(8800, 0.0F);
    const Settings noisy = {
        {BitCrusher::Dither, 1.0F}, {BitCrusher::BitErrors, 0.5F}, {BitCrusher::Bias, 0.5F}};
    EXPECT_EQ(PlayAll(noisy, {}, silent)[0], silent);
}

TEST(BitCrusherTest, ClocksRunTogetherUnlessSplitAndKeepTheirMeanUnderJitter) {
    const Signal noise = Noise(44000, 0.5F, 3);
    const auto unit = Make<BitCrusher>(fine, {{BitCrusher::Jitter, 0.8F}, {BitCrusher::SampleRate, 8000.0F}});
    const auto plays = [&](float cents) {
        Set(*unit, {{BitCrusher::Split, cents}});
        Play(*unit, noise, noise);
        return Play(*unit, noise, noise);
    };
    EXPECT_EQ(plays(0.0F)[0], plays(0.0F)[1]);
    plays(700.0F);
    const auto again = plays(0.0F);
    EXPECT_EQ(again[0], again[1]) << "back together, they fall in step";
    const Settings split = {{BitCrusher::SampleRate, 8000.0F}, {BitCrusher::Split, 17.0F}};
    const auto apart = PlayAll(fine, split, Sine(1000.0, 0.5));
    for (const int side : {0, 1}) {
        const double clock = 8000.0 * std::exp2((side - 0.5) * 17.0 / 1200.0);
        EXPECT_NEAR(LevelAt(Spectrum(apart[side]), (clock - 1000.0) / 44100.0), InDb(0.5 * Sinc(0.875)), 0.5);
    }
    for (const float jitter : {0.0F, 0.9F}) {
        const Settings shaky = {{BitCrusher::SampleRate, 4000.0F}, {BitCrusher::Jitter, jitter}};
        const Signal error = PlayAll(fine, shaky, noise)[2];
        std::size_t longest = 0;
        std::vector<std::size_t> at{0};
        for (std::size_t n = 1; n < error.size(); ++n) {
            if (error[n] != error[n - 1]) {
                longest = std::max(longest, n - at.back());
                at.push_back(n);
            }
        }
        EXPECT_NEAR(static_cast<double>(at.size()) / (4000.0 * 44.0 / 44.1), 1.0,
                    jitter > 0.0F ? 0.04 : 0.005);
        EXPECT_NEAR(static_cast<double>(longest), 11.025 * (1.0 + static_cast<double>(jitter)), 1.5)
            << jitter;
    }
}

TEST(BitCrusherTest, DryAndWetAreInTimeAndErrorsMayBeLeftOut) {
    const Signal noise = Noise(8800, 0.5F, 4);
    const Signal dry = PlayAll({{BitCrusher::DryWet, 0.0F}}, {}, noise)[0];
    EXPECT_TRUE(std::equal(dry.begin() + SampleHold::latency, dry.end(), noise.begin()));
    // The mean of a hold is half a sample of it late.
    for (const double hold : {48000.0, 44000.0, 4000.0}) {
        const auto delay = [&](float mix) {
            const auto out = PlayAll(fine, {{BitCrusher::SampleRate, float(hold)}, {BitCrusher::DryWet, mix}},
                                     Tone(44100, 2000.0, 44100.0, 0.5));
            return std::arg(Transform(Signal(out[0].end() - 22050, out[0].end()), 2000.0, 44100.0));
        };
        // The low cut of 20 Hz advances by 0.01.
        const double turn = std::remainder(delay(0.0F) - delay(1.0F) + 0.01, 2.0 * Velmora::Test::pi);
        const double expected = hold > 47000.0 ? 0.0 : 2.0 * Velmora::Test::pi * 1000.0 / hold;
        EXPECT_NEAR(turn, expected, 0.02) << hold;
    }
    EXPECT_EQ(Play(*Make<BitCrusher>({}), noise, noise)[0], PlayAll({}, {}, noise)[0]);
}
