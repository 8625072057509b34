// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepPhaseGenBase.h"

#include "rigs/OscillatorRig.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>

namespace {

using namespace orphia::test;
using Generator = Velmora::dsp::PolyBlepPhaseGen;

constexpr float far = std::numeric_limits<float>::max();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

double Fraction(double x) { return x - std::floor(x); }

/// Distance on the circle.
double Apart(double a, double b) { return std::abs(std::remainder(a - b, 1.0)); }

Settings Flags(u32 combination, float hertz) {
    return {{Generator::frequency, hertz},
            {Generator::hsMaster, (combination & 4U) != 0 ? 1.0F : 0.0F},
            {Generator::hsSlave, (combination & 2U) != 0 ? 1.0F : 0.0F},
            {Generator::fmOn, (combination & 1U) != 0 ? 1.0F : 0.0F}};
}

TEST(PolyBlepPhaseGen, HoldsItsPitchOverLongRuns) {
    constexpr std::size_t frames = 1U << 19U;
    for (const float rate : {44100.0F, 96000.0F, 192000.0F}) {
        for (const float hertz : {20.0F, 261.62558F, 12000.0F, -440.0F}) {
            const auto out = Phases(Flags(4, hertz), rate, frames);
            const double wraps = std::accumulate(out[2].begin(), out[2].end(), 0.0);
            const double end = out[0].back();
            const double cycles = hertz > 0.0F ? wraps + end : wraps - end;
            const double measured = cycles / static_cast<double>(frames) * static_cast<double>(rate);
            EXPECT_NEAR(1200.0 * std::log2(measured / std::abs(hertz)), 0.0, 0.002)
                << "cents at " << hertz << " Hz, rate " << rate;
        }
    }
}

TEST(PolyBlepPhaseGen, WrapDataOfAMasterTellWhereThePhaseWraps) {
    for (const float hertz : {97.0F, 1234.5F, 9000.0F, 17000.0F, -97.0F, -7000.0F}) {
        const auto out = Phases(Flags(4, hertz), 44100.0F, 8192);
        const double increment = static_cast<double>(hertz) / 44100.0;
        std::size_t previous = 0;
        for (std::size_t n = 1; n < 8192; ++n) {
            ASSERT_NEAR(out[1][n], increment, 1e-7);
            // A wrap is where the phase jumps against its direction.
            ASSERT_EQ(out[2][n] != 0.0F, (out[0][n] < out[0][n - 1]) == (hertz > 0.0F))
                << hertz << " Hz, " << n;
            if (out[2][n] == 0.0F) {
                continue;
            }
            ASSERT_LE(out[4][n], 1.0F);
            const double at = static_cast<double>(n) - static_cast<double>(out[4][n]);
            for (std::size_t k = previous; k < n; ++k) {
                ASSERT_NEAR(static_cast<double>(k) + static_cast<double>(out[3][k]), at, 0.001)
                    << hertz << " Hz";
            }
            for (std::size_t k = n; k < std::min<std::size_t>(n + 4, 8192) && (k == n || out[2][k] == 0.0F);
                 ++k) {
                ASSERT_NEAR(static_cast<double>(k) - static_cast<double>(out[4][k]), at, 0.001)
                    << hertz << " Hz";
            }
            previous = n;
        }
        ASSERT_GT(previous, 0U) << hertz << " Hz never wraps";
    }
}

TEST(PolyBlepPhaseGen, SlaveRunsFromItsResetPhaseAsIfResetBetweenFrames) {
    for (const float masterHertz : {440.0F, 1731.0F}) {
        const auto master = Phases(Flags(4, masterHertz), 44100.0F, 4096);
        for (const double ratio : {0.6, 1.5, 2.0, 3.7, -2.3}) {
            for (const float start : {0.0F, 0.3F}) {
                for (const u32 combination : {2U, 3U, 6U}) {
                    Settings settings = Flags(combination, masterHertz * static_cast<float>(ratio));
                    settings.emplace_back(Generator::hsPhase0, start);
                    const auto out = Phases(settings, 44100.0F, 4096, &master);
                    // From the first wrap of the master on.
                    for (std::size_t n = 101; n < 4096; ++n) {
                        const double expected = Fraction(static_cast<double>(start) + ratio * master[0][n]);
                        ASSERT_LT(Apart(out[0][n], expected), 1e-5) << "ratio " << ratio << ", frame " << n;
                    }
                    for (std::size_t c = 2; c < 5 && combination == 2; ++c) {
                        EXPECT_EQ(out[c], master[c]);
                    }
                }
            }
        }
    }
}

TEST(PolyBlepPhaseGen, FmSumsTheDeviationThroughZero) {
    Signal fm(20000);
    for (std::size_t n = 0; n < fm.size(); ++n) {
        fm[n] = 60000.0F * static_cast<float>(std::sin(0.01 * static_cast<double>(n)));
    }
    const auto out = Phases(Flags(5, 500.0F), 48000.0F, fm.size(), nullptr, &fm);
    double sum = 0.0;
    for (std::size_t n = 0; n < fm.size(); ++n) {
        const double increment = (500.0 + static_cast<double>(fm[n])) / 48000.0;
        const double before = std::floor(sum);
        sum += increment;
        ASSERT_LT(Apart(out[0][n], sum), 1e-6) << n;
        ASSERT_NEAR(out[1][n], increment, 1e-6);
        ASSERT_EQ(out[2][n] != 0.0F, std::floor(sum) != before) << n;
    }
}

TEST(PolyBlepPhaseGen, NeitherBlocksNorSharedBuffersNorIdleFmChangeASample) {
    constexpr std::size_t frames = 3000;
    const auto master = Phases(Flags(4, 313.0F), 44100.0F, frames);
    const Signal noise = Noise(frames, 30000.0F, 7);
    for (u32 combination = 0; combination < 8; ++combination) {
        const Settings settings = Flags(combination, 1000.0F);
        const auto expected = Phases(settings, 44100.0F, frames, &master, &noise);
        EXPECT_EQ(Phases(settings, 44100.0F, frames, &master, &noise, BlockSplit::Random(256, 50, 3)),
                  expected);

        auto shared = master;
        Generator generator;
        Prepare(generator, 44100.0F, settings);
        const std::vector<float*> channels = Pointers(shared);
        RunInPlace(generator, {channels[2], channels[3], channels[4], noise.data()}, channels, frames);
        EXPECT_EQ(shared, expected) << "in place, flags " << combination;

        // Without deviation FM is the steady phase to the last bit.
        EXPECT_EQ(Phases(Flags(combination | 1U, 1000.0F), 44100.0F, frames, &master),
                  Phases(Flags(combination & 6U, 1000.0F), 44100.0F, frames, &master));
    }
}

TEST(PolyBlepPhaseGen, StartsFromPhase0AndHealsFromBrokenInput) {
    Generator generator;
    Prepare(generator, 44100.0F, Flags(1, 441.0F));
    Signal fm(44, 0.0F);
    const auto lastPhase = [&] {
        return Render(generator, {nullptr, nullptr, nullptr, &fm}, 5, BlockSplit::Of(44))[0][43];
    };
    EXPECT_NEAR(lastPhase(), 0.44F, 1e-6F);
    generator.SetParameterValue(Generator::phase0, 0.5F);
    EXPECT_NEAR(lastPhase(), 0.94F, 1e-6F);
    EXPECT_NEAR(lastPhase(), 0.38F, 1e-6F) << "loads the start phase only once";
    generator.Reset(false);
    EXPECT_NEAR(lastPhase(), 0.94F, 1e-6F);

    generator.SetParameterValue(Generator::frequency, notANumber);
    EXPECT_NEAR(lastPhase(), 0.94F, 1e-6F) << "stands still";
    generator.SetParameterValue(Generator::frequency, 441.0F);
    for (const float broken : {notANumber, far, -std::numeric_limits<float>::infinity()}) {
        fm.assign(44, broken);
        const float phase = lastPhase();
        EXPECT_TRUE(phase >= 0.0F && phase <= 1.0F) << phase << " after " << broken;
        fm.assign(44, 0.0F);
        EXPECT_LT(Apart(lastPhase(), static_cast<double>(phase) + 0.44), 1e-6) << "after " << broken;
    }
}

} // namespace
