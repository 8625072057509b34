// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/NoiseGenerator.h"

#include "reference/UnvoicedModels.h"
#include "rigs/ModuleRig.h"

using namespace orphia::test;
using namespace orphia_reference;
using Velmora::dsp::NoiseGenerator;

TEST(NoiseGenerator, EachKindAtEachRateIsThatOfItsDefinitionAndBeginsAnewAfterAnother) {
    constexpr std::size_t frames = 2048;
    const Signal clock(frames, 0.5F);
    const auto fromDb = [](double dB) { return std::pow(10.0, dB / 20.0); };
    for (const double rate : {8000.0, 44100.0, 46000.0, 48000.0, 96000.0, 192000.0}) {
        const double octaves = std::log2(rate / 44100.0);
        const double redLevel = fromDb(-30.5) * std::exp2(-octaves / 2.0);
        WhiteNoiseModel source{7};
        // Of pink: low-passes two octaves and 6 dB apart from 1.7 Hz on. Of red: without what lies below 10
        // radians per second.
        std::array<double, 9> poles{};
        OnePole redHighPass(Shape::HighPass, 10.0 * twoPi / rate);
        OnePole deepHighPass = redHighPass;
        Biquad treble = Biquad::OfQ(Shape::LowPass, std::min(20000.0, 0.49 * rate), std::sqrt(0.5), rate);
        double last = 0.0, sum = 0.0, pinkSum = 0.0;
        std::vector<std::array<double, 5>> kinds;
        for (std::size_t n = 0; n < frames; ++n) {
            const double white = source.Next();
            double pink = 0.0;
            double gains = 0.0;
            for (int k = 0; 1.7 * std::exp2(2 * k) < rate / twoPi - 1.0; ++k) {
                double& pole = poles.at(static_cast<std::size_t>(k));
                pole += twoPi * 1.7 * std::exp2(2 * k) / rate * (white - pole);
                pink += fromDb(-6 * k) * pole;
                gains += fromDb(-6 * k);
            }
            pink *= fromDb((rate > 88200.0 ? octaves + 2.5 : octaves * 3.5) + 23.0) / gains;
            const double blueDb =
                rate < 48000.0 ? std::max(rate - 44100.0, 0.0) / 3000.0 : octaves * 6.5 + 1.3;
            const double blue = treble.Step(white - std::exchange(last, white)) * fromDb(blueDb - 7.5);
            const double red = redHighPass.Step((sum += white) * redLevel);
            const double deep = deepHighPass.Step((pinkSum += pink) * redLevel) * std::exp2(-octaves / 2.0);
            kinds.push_back({blue, white, pink, red, deep * fromDb(-13.0)});
        }
        NoiseGenerator noise;
        noise.Initialize(static_cast<float>(rate), 256);
        for (const double color : {0.0, 0.1, 0.4, 0.8}) {
            for (u32 type = 0; type < NoiseGenerator::TypeCount; ++type) {
                noise.Seed(7);
                noise.SetParameterValue(NoiseGenerator::NoiseType, static_cast<float>(type));
                noise.SetParameterValue(NoiseGenerator::NoiseColor, static_cast<float>(color - 0.5));
                const Signal got = Render(noise, {&clock}, 1, BlockSplit::Random(256, 9, 3))[0];
                for (std::size_t n = 0; n < frames; ++n) {
                    const auto& [blue, white, pink, red, deep] = kinds[n];
                    const double morph = color < 0.25  ? std::lerp(red, pink, color * 4.0)
                                         : color < 0.5 ? std::lerp(pink, white, color * 4.0 - 1.0)
                                                       : std::lerp(white, blue, color * 2.0 - 1.0);
                    const double expected = type < NoiseGenerator::Morph ? kinds[n][type] : morph;
                    ASSERT_NEAR(got[n], std::clamp(expected, -1.0, 1.0), 2e-4)
                        << "type " << type << ", colour " << color << " at " << rate << " Hz, frame " << n;
                }
            }
        }
    }
}
