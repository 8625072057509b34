// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/bitcrusher/BitCrusher.h"

#include "rigs/EffectRig.h"

#include <numeric>

namespace {

using namespace orphia::test;
using B = Velmora::dsp::BitCrusher;
using Velmora::Test::Complex;
using Velmora::Test::pi;

/// A converter with equal steps that converts each frame; a hold whose samples are as good as exact.
const Settings unheld = {{B::SampleRate, 48000}, {B::Curve, 0}};
const Settings fine = {{B::Bits, 16}, {B::Curve, 0}};

double InDb(double ratio) { return 20.0 * std::log10(ratio); }
double Sinc(double x) { return std::sin(pi * x) / (pi * x); }

/// All four outputs.
std::vector<Signal> PlayAll(const Settings& first, const Settings& then, const Signal& in,
                            double rate = 44100.0) {
    return Render(*Make<B>(first, then, float(rate)), {&in, &in}, 4, BlockSplit::Of(64));
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

/// Root of the power from a frequency to one a hundredth of the rate above it.
double Level(const Signal& signal, double from) {
    const std::vector<double> spectrum = Spectrum(signal);
    const auto at = spectrum.begin() + std::lround(from * static_cast<double>(spectrumSize));
    return std::sqrt(std::inner_product(at, at + spectrumSize / 100, at, 0.0));
}

} // namespace

TEST(BitCrusherTest, TheConverterHasTheStepsAndTheNoiseOfItsBits) {
    for (const double bits : {4.0, 6.0, 7.5, 12.0}) {
        Velmora::dsp::Quantiser quantiser(1);
        for (const double bias : {0.0, 0.5, 0.2}) {
            quantiser.Set({.bits = float(bits), .bias = float(bias)});
            for (double x = -0.79; x < 0.8; x += 0.0137) {
                const double step = std::exp2(1.0 - bits);
                const double level = std::floor(x / step + 0.5 + bias) - bias;
                EXPECT_NEAR(static_cast<double>(quantiser.Convert(float(x))), level * step, 1e-6) << x;
            }
        }
    }
    // The textbook value for a mu-law of 255 and 8 bits: about 38 dB, nearly whatever the level.
    for (const double level : {0.9, 0.03}) {
        const Signal soft = Tone(44100, 997.0, 44100.0, level);
        const double ratio =
            InDb(Rms(soft) / Rms(PlayAll(unheld, {{B::Bits, 8}, {B::Curve, 255}}, soft)[2], 100));
        EXPECT_NEAR(ratio, 37.5, 2.0) << level;
    }
}

TEST(BitCrusherTest, ImagesOfTheHoldAreWhereAndAsStrongAsTheoryHasThem) {
    struct Case {
        double rate, hold, slope;
    };
    constexpr double hz = 1031.0;
    for (const Case& c : {Case{44100, 3700, 0}, {44100, 8123, 1}, {96000, 8123, 0}, {96000, 20011, 1}}) {
        const Settings hold = {{B::SampleRate, c.hold}, {B::Slope, c.slope}};
        std::vector<double> spectrum = Spectrum(PlayAll(fine, hold, Sine(hz, 0.5, c.rate), c.rate)[0]);
        for (int image = 0; image < 28; ++image) {
            const double f = std::abs((image / 2) * c.hold + (image % 2 == 0 ? hz : -hz));
            if (f < 16000.0) {
                // The ramp is a second hold; without one, steps of the samples are all there is.
                const double gain = std::pow(std::abs(Sinc(f / c.hold)), 1.0 + c.slope);
                const auto at = spectrum.begin() + std::lround(f / c.rate * spectrumSize);
                EXPECT_NEAR(image == 1 ? 0.0 : LevelAt(spectrum, f / c.rate) - InDb(0.5 * gain), 0.0,
                            gain > 0.01 ? 0.5 : 3.0)
                    << f << " Hz, hold " << c.hold << " at " << c.rate;
                std::fill(at - 13, at + 14, 0.0);
            }
        }
        for (double f = 100.0; f < 16000.0; f += c.rate / spectrumSize) {
            ASSERT_LT(LevelAt(spectrum, f / c.rate), -64.0)
                << f << " Hz, hold " << c.hold << " at " << c.rate;
        }
    }
}

TEST(BitCrusherTest, FiltersAreButterworthAheadOfTheHoldAndBehind) {
    const auto butterworth = [](double hz, double corner, double order) {
        const double w = std::abs(Velmora::Test::AnalogueFrequency(hz, corner, 44100.0));
        return 0.5 / std::sqrt(1.0 + std::pow(w, 2.0 * order));
    };
    for (const double hz : {300.0, 4500.0, 6000.0}) {
        // At 0.4 of the hold's rate; what folds is heard at the distance from it.
        const Signal out = PlayAll(fine, {{B::SampleRate, 8000}, {B::AntiAlias, 1}}, Sine(hz, 0.5))[0];
        const double level = butterworth(hz, 3200.0, 6.0) * std::abs(Sinc(1.0 - hz / 8000.0));
        EXPECT_NEAR(LevelAt(Spectrum(out), (8000.0 - hz) / 44100.0), InDb(level), 0.35) << hz;
        const Settings cuts = {{B::Bits, 16}, {B::LowCut, 300}, {B::HighCut, 4000}, {B::WetGain, -3}};
        const double behind = butterworth(hz, 4000.0, 2.0) / std::hypot(1.0, 300.0 / hz) * 0.7079;
        EXPECT_NEAR(LevelAt(Spectrum(PlayAll(unheld, cuts, Sine(hz, 0.5))[1]), hz / 44100.0), InDb(behind),
                    0.4);
    }
}

TEST(BitCrusherTest, NoiseIsOfItsKindAndSilenceStaysSilent) {
    const double level = 0.3 / 128.0;
    const auto carried = [&](u32 id, double value) {
        return PlayAll(unheld, {{B::Bits, 8}, {id, value}}, Sine(1000.0, level));
    };
    EXPECT_EQ(Peak(carried(B::Dither, 0.0)[0], 100), 0.0F);
    const auto dithered = carried(B::Dither, 1.0);
    EXPECT_NEAR(LevelAt(Spectrum(dithered[0]), 1000.0 / 44100.0), InDb(level), 0.5);
    // Triangular noise of one step either way makes the error white and half a step strong.
    EXPECT_NEAR(Rms(dithered[2], 100) * 128.0, 0.5, 0.01);
    EXPECT_NEAR(Level(dithered[2], 0.05) / Level(dithered[2], 0.45), 1.0, 0.1);
    const Signal square = carried(B::Bias, 0.5)[0];
    EXPECT_NEAR(LevelAt(Spectrum(square), 1000.0 / 44100.0), InDb(2.0 / 128.0 / pi), 0.3);
    const Signal noise = Noise(spectrumSize + 4000, 0.5F, 1);
    const auto error = [&](u32 id, double value) {
        return PlayAll(unheld, {{B::Bits, 8}, {id, value}}, noise)[2];
    };
    const Signal shaped = error(B::Shaping, 1.0);
    for (const double f : {0.01, 0.2, 0.48}) {
        const double expected = 2.0 * std::sin(pi * (f + 0.005));
        EXPECT_NEAR(Level(shaped, f) / Level(error(B::Shaping, 0.0), f) / expected, 1.0, 0.12) << f;
    }
    for (const double share : {0.01, 0.2}) {
        const Signal wrong = error(B::BitErrors, share);
        const auto far = [](float e) { return std::abs(e) > 0.51F / 128.0F; };
        const auto count = static_cast<double>(std::count_if(wrong.begin(), wrong.end(), far));
        // The lowest bit shows in half the cases only.
        EXPECT_NEAR(count / static_cast<double>(noise.size()) / share, 15.0 / 16.0, 0.06) << share;
    }
    const Signal silent(8800, 0.0F);
    EXPECT_EQ(PlayAll({{B::Dither, 1}, {B::BitErrors, 0.5}, {B::Bias, 0.5}}, {}, silent)[0], silent);
}
