// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/bitcrusher/BitCrusher.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using B = Velmora::dsp::BitCrusher;
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
