// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/NoiseGenerator.h"

#include "rigs/ModuleRig.h"

using namespace orphia::test;
using Velmora::dsp::NoiseGenerator;

TEST(NoiseGenerator, EachKindHasItsSlopeAtEachRateAndTheMorphRunsFromKindToKind) {
    const Signal clock(1U << 17U, 0.5F);
    constexpr double slopes[] = {6.0, 0.0, -3.0, -6.0, -9.0}; // in dB per octave
    constexpr float colors[] = {0.5F, 0.0F, -0.25F, -0.5F};
    for (const float rate : {44100.0F, 48000.0F, 96000.0F, 192000.0F}) {
        NoiseGenerator noise;
        noise.Initialize(rate, 256);
        const auto play = [&](u32 type, float color) {
            noise.Seed(7);
            noise.SetParameterValue(NoiseGenerator::NoiseType, static_cast<float>(type));
            noise.SetParameterValue(NoiseGenerator::NoiseColor, color);
            return Render(noise, {&clock}, 1, BlockSplit::Random(256, 9, 3))[0];
        };
        for (u32 type = 0; type < NoiseGenerator::Morph; ++type) {
            const Signal sound = play(type, 0.0F);
            const auto levelDb = [&](double hz) { // the mean of windowed pieces
                double power = 0.0;
                for (std::size_t from = 0; from < sound.size(); from += 1024) {
                    Signal piece(sound.begin() + static_cast<long>(from),
                                 sound.begin() + static_cast<long>(from) + 1024);
                    for (std::size_t n = 0; n < 1024; ++n) {
                        piece[n] *=
                            1.0F - std::cos(static_cast<float>(n) * std::numbers::pi_v<float> / 512.0F);
                    }
                    power += std::norm(Transform(piece, hz, static_cast<double>(rate)));
                }
                return 10.0 * std::log10(power);
            };
            const double slope =
                (levelDb(7000.0) + levelDb(6000.0) - levelDb(1750.0) - levelDb(1500.0)) / 4.0;
            EXPECT_NEAR(slope, slopes[type], 0.7) << "type " << type << " at " << rate << " Hz";
            EXPECT_TRUE(type > NoiseGenerator::Red || play(NoiseGenerator::Morph, colors[type]) == sound)
                << type;
        }
    }
}
