// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepPhaseGen.h"

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
    return {{Generator::Frequency, hertz},
            {Generator::HSMaster, (combination & 4U) != 0 ? 1.0F : 0.0F},
            {Generator::HSSlave, (combination & 2U) != 0 ? 1.0F : 0.0F},
            {Generator::FMOn, (combination & 1U) != 0 ? 1.0F : 0.0F}};
}

TEST(PolyBlepPhaseGen, SlaveRunsFromItsResetPhaseAsIfResetBetweenFrames) {
    for (const float masterHertz : {440.0F, 1731.0F}) {
        const auto master = Phases(Flags(4, masterHertz), 44100.0F, 4096);
        for (const double ratio : {0.6, 1.5, 2.0, 3.7, -2.3}) {
            for (const float start : {0.0F, 0.3F}) {
                for (const u32 combination : {2U, 3U, 6U}) {
                    Settings settings = Flags(combination, masterHertz * static_cast<float>(ratio));
                    settings.emplace_back(Generator::HSPhase0, start);
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

TEST(PolyBlepPhaseGen, StartsFromPhase0AndHealsFromBrokenInput) {
    Generator generator;
    Prepare(generator, 44100.0F, Flags(1, 441.0F));
    Signal fm(44, 0.0F);
    const auto lastPhase = [&] {
        return Render(generator, {nullptr, nullptr, nullptr, &fm}, 5, BlockSplit::Of(44))[0][43];
    };
    EXPECT_NEAR(lastPhase(), 0.44F, 1e-6F);
    generator.SetParameterValue(Generator::Phase0, 0.5F);
    EXPECT_NEAR(lastPhase(), 0.94F, 1e-6F);
    EXPECT_NEAR(lastPhase(), 0.38F, 1e-6F) << "loads the start phase only once";
    generator.Reset(false);
    EXPECT_NEAR(lastPhase(), 0.94F, 1e-6F);

    generator.SetParameterValue(Generator::Frequency, notANumber);
    EXPECT_NEAR(lastPhase(), 0.94F, 1e-6F) << "stands still";
    generator.SetParameterValue(Generator::Frequency, 441.0F);
    for (const float broken : {notANumber, far, -std::numeric_limits<float>::infinity()}) {
        fm.assign(44, broken);
        const float phase = lastPhase();
        EXPECT_TRUE(phase >= 0.0F && phase <= 1.0F) << phase << " after " << broken;
        fm.assign(44, 0.0F);
        EXPECT_LT(Apart(lastPhase(), static_cast<double>(phase) + 0.44), 1e-6) << "after " << broken;
    }
}

} // namespace
