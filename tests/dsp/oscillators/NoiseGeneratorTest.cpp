// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/NoiseGenerator.h"

#include "reference/UnvoicedModels.h"
#include "rigs/ModuleRig.h"

namespace {

using namespace orphia::test;
using Velmora::dsp::NoiseGenerator;

constexpr std::size_t frames = 4096;

/// The noise of a seed in double precision, from the definition of each kind.
struct Model {
    double rate;
    std::vector<double> white = [] {
        orphia_reference::WhiteNoiseModel source{7};
        std::vector<double> x(frames);
        std::generate(x.begin(), x.end(), [&] { return source.Next(); });
        return x;
    }();
    double octaves = std::log2(rate / 44100.0);

    static double FromDb(double dB) { return std::pow(10.0, dB / 20.0); }

    /// Low-passes two octaves and 6 dB apart from 1.7 Hz on.
    std::vector<double> Pink() const {
        std::vector<double> y(frames, 0.0);
        double gainSum = 0.0;
        double gain = 1.0;
        for (double hz = 1.7; hz < rate / (2.0 * std::numbers::pi) - 1.0; hz *= 4.0, gain *= FromDb(-6.0)) {
            double state = 0.0;
            for (std::size_t n = 0; n < frames; ++n) {
                state += 2.0 * std::numbers::pi * hz / rate * (white[n] - state);
                y[n] += gain * state;
            }
            gainSum += gain;
        }
        const double levelDb = rate > 88200.0 ? octaves - 1.0 + 3.5 : octaves * 3.5;
        return Mixed(std::vector<double>(frames), y, FromDb(levelDb + 23.0) / gainSum);
    }
    /// The sum of all samples, without what lies below a tenth of a radian per 1/100 s.
    std::vector<double> Red(const std::vector<double>& x) const {
        const double w = rate * 0.1 / (2.0 * std::numbers::pi);
        std::vector<double> y(frames);
        double sum = 0.0;
        double state = 0.0;
        for (std::size_t n = 0; n < frames; ++n) {
            sum += x[n];
            const double u = sum * FromDb(-30.5) * std::exp2(-octaves / 2.0) * w / (1.0 + w);
            y[n] = u + state;
            state = -u - y[n] * (1.0 - w) / (1.0 + w);
        }
        return y;
    }
    /// The difference of neighbours under a Butterworth low-pass at 20 kHz.
    std::vector<double> Blue() const {
        const double angle =
            2.0 * std::numbers::pi * (rate < 44100.0 ? std::min(20000.0 / rate, 0.49) : 20000.0 / rate);
        const double alpha = std::sin(angle) * std::sqrt(0.5);
        const double b = (1.0 - std::cos(angle)) / 2.0;
        const double treble = rate >= 48000.0 ? octaves * 6.5 + 1.3 : std::max(rate - 44100.0, 0.0) / 3000.0;
        std::vector<double> y(frames);
        double x1 = 0.0, x2 = 0.0, x3 = 0.0, y1 = 0.0, y2 = 0.0;
        for (std::size_t n = 0; n < frames; ++n) {
            const double d0 = white[n] - x1, d1 = x1 - x2, d2 = x2 - x3;
            const double z =
                (b * (d0 + 2.0 * d1 + d2) + 2.0 * std::cos(angle) * y1 - (1.0 - alpha) * y2) / (1.0 + alpha);
            x3 = std::exchange(x2, std::exchange(x1, white[n]));
            y2 = std::exchange(y1, z);
            y[n] = z * FromDb(-7.5 + treble);
        }
        return y;
    }
    static std::vector<double> Mixed(const std::vector<double>& a, const std::vector<double>& b, double t) {
        std::vector<double> y;
        for (std::size_t n = 0; n < frames; ++n) {
            y.push_back(a[n] + t * (b[n] - a[n]));
        }
        return y;
    }
    std::vector<double> Of(u32 type, double color) const {
        switch (type) {
        case NoiseGenerator::Blue:
            return Blue();
        case NoiseGenerator::White:
            return white;
        case NoiseGenerator::Pink:
            return Pink();
        case NoiseGenerator::Red:
            return Red(white);
        case NoiseGenerator::DeepRed:
            return Mixed(std::vector<double>(frames), Red(Pink()), FromDb(-13.0) * std::exp2(-octaves / 2.0));
        default:
            return color < 0.25  ? Mixed(Red(white), Pink(), color * 4.0)
                   : color < 0.5 ? Mixed(Pink(), white, color * 4.0 - 1.0)
                                 : Mixed(white, Blue(), color * 2.0 - 1.0);
        }
    }
};

TEST(NoiseGenerator, EachKindAtEachRateIsThatOfTheModelAndBeginsAnewAfterAnother) {
    const Signal clock(frames, 0.5F);
    for (const float rate :
         {8000.0F, 40000.0F, 44100.0F, 46000.0F, 48000.0F, 88200.0F, 96000.0F, 192000.0F}) {
        const Model model{static_cast<double>(rate)};
        NoiseGenerator noise;
        noise.Initialize(rate, 256);
        for (const float color : {0.0F, 0.1F, 0.25F, 0.4F, 0.5F, 0.8F, 1.0F}) {
            for (u32 type = 0; type < NoiseGenerator::TypeCount; ++type) {
                noise.Seed(7);
                noise.SetParameterValue(NoiseGenerator::NoiseType, static_cast<float>(type));
                noise.SetParameterValue(NoiseGenerator::NoiseColor, color - 0.5F);
                const Signal got = Render(noise, {&clock}, 1, BlockSplit::Random(256, 9, 3))[0];
                const std::vector<double> expected = model.Of(type, static_cast<double>(color));
                for (std::size_t n = 0; n < frames; ++n) {
                    ASSERT_NEAR(got[n], std::clamp(expected[n], -1.0, 1.0), 2e-4)
                        << "type " << type << ", colour " << color << " at " << rate << " Hz, frame " << n;
                }
            }
        }
    }
}

} // namespace
