// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/lfo/LFO.h"

#include "LFORig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

using namespace Test;

/// What a waveform is worth at a phase.
double Wave(u32 waveform, double x) {
    switch (waveform) {
    case LFO::Sine:
        return std::sin(2.0 * std::numbers::pi * x);
    case LFO::Triangle:
        return 1.0 - std::abs(4.0 * Fraction(x + 0.25) - 2.0);
    case LFO::FallingSaw:
        return 1.0 - 2.0 * x;
    case LFO::RisingSaw:
        return 2.0 * x - 1.0;
    default:
        return x < 0.5 ? 1.0 : -1.0;
    }
}

TEST(LFOTest, WaveformsFollowTheirFormulasUnderOffsetSpreadAmplitudeAndPolarity) {
    for (u32 waveform = LFO::Sine; waveform <= LFO::Square; ++waveform) {
        for (const float single : {0.0F, 1.0F}) {
            LFORig source({{LFO::RateUnSynced, 7.3F}, {LFO::PhaseInit, 45.0F}, {LFO::Amp, 0.5F}}, false);
            source.Set({{LFO::Waveform, static_cast<float>(waveform)}, {LFO::Unipolar, single}});
            source.Set({{LFO::Stereo, 1.0F}, {LFO::StereoSpread, 72.0F}});
            source.Modulate(1, 0.25F);
            source.Modulate(2, 0.3F);
            for (u32 block = 0; block < 300; ++block) {
                source.Block();
                for (u32 i = 0; i < blockSize; ++i) {
                    const double x = 0.125 + 0.3 + (block * blockSize + i) * 7.3 / 44100.0;
                    for (const auto& [out, spread] :
                         {std::pair(source.left[i], 0.0), {source.right[i], 0.2}}) {
                        const double place = Fraction(x + spread);
                        const double wave = Wave(waveform, place);
                        if (std::min(Fraction(2.0 * place), Fraction(-2.0 * place)) > 1e-4) {
                            ASSERT_NEAR(out, 0.75 * (single > 0.5F ? (wave + 1.0) * 0.5 : wave), 2e-5)
                                << waveform << " at " << place;
                        }
                    }
                }
            }
            EXPECT_LT(PhaseError(source.Phase(), 0.425 + 299 * blockSize * 7.3 / 44100.0), 1e-4);
        }
    }
}

TEST(LFOTest, SampleAndHoldDrawsOncePerCycleAndTheSecondChannelFollowsByTwiceTheSpreadOrMirrored) {
    for (const auto& [degrees, frames, isMirror] :
         {std::tuple(0.0F, 0U, 0.0F), {45.0F, 25U, 0.0F}, {180.0F, 100U, 0.0F}, {45.0F, 0U, 1.0F}}) {
        // 100 frames a cycle.
        LFORig source({{LFO::Waveform, LFO::SampleAndHold}, {LFO::RateUnSynced, 441.0F}}, false);
        source.Set({{LFO::Stereo, 1.0F}, {LFO::StereoSpread, degrees}, {LFO::SnHStereoMode, isMirror}});
        std::vector<float> left;
        double different = 0.0;
        double sum = 0.0;
        for (u32 block = 0; block < 10000; ++block) {
            source.Block();
            left.insert(left.end(), source.left.begin(), source.left.end());
            for (std::size_t i = 0; i < blockSize && block > 4; ++i) {
                const float expected = left[left.size() - blockSize - frames + i];
                different += source.right[i] != (isMirror > 0.5F ? -expected : expected) ? 1.0 : 0.0;
                sum += static_cast<double>(source.left[i]);
            }
        }
        // Rounding may move a cycle's border by a frame.
        EXPECT_LE(different, isMirror > 0.5F ? 0.0 : 4400.0) << degrees << " degrees";
        const std::set<float> values(left.begin(), left.end());
        EXPECT_NEAR(static_cast<double>(values.size()), 4400.0, 1.0);
        EXPECT_TRUE(*values.begin() >= -1.0F && *values.begin() < -0.99F) << *values.begin();
        EXPECT_TRUE(*values.rbegin() <= 1.0F && *values.rbegin() > 0.99F) << *values.rbegin();
        EXPECT_NEAR(sum / static_cast<double>(left.size()), 0.0, 0.03);
    }
}

TEST(LFOTest, TheFadeRisesExponentiallyAndNeverOvershoots) {
    const Settings square = {{LFO::Waveform, LFO::Square}, {LFO::RateUnSynced, 0.01F}};
    for (const bool perBlock : {true, false}) {
        LFORig source(square, perBlock);
        source.Set({{LFO::Fade, 0.5F}});
        source.lfo.Retrigger();
        for (u32 block = 0; block < 600; ++block) {
            source.Block();
            const double place = std::min(block * blockSeconds / 0.5, 1.0);
            ASSERT_NEAR(source.left[0], std::expm1(10.0 * place) / std::expm1(10.0), 2e-3) << block;
        }
    }
    LFORig brief(square, false);
    brief.Set({{LFO::Fade, 1e-4F}});
    brief.lfo.Retrigger();
    brief.Block();
    EXPECT_LT(brief.left[1], 0.5F);
    EXPECT_EQ(std::count(brief.left.begin() + 5, brief.left.end(), 1.0F), blockSize - 5);
}

TEST(LFOTest, SmoothingReachesAStepInItsTimeInSecondsOrInCycles) {
    const Settings slowSquare = {{LFO::Waveform, LFO::Square}, {LFO::RateUnSynced, 0.5F}};
    const Settings linked = {{LFO::Smooth, 0.2F}, {LFO::SmoothRateLinked, 1.0F}};
    LFORig seconds(slowSquare);
    LFORig cycles(slowSquare);
    LFORig synced({{LFO::Waveform, LFO::Square}, {LFO::MidiSync, 1.0F}, {LFO::RateSynced, 3.0F}});
    seconds.Set({{LFO::Smooth, 0.4F}});
    cycles.Set(linked);
    synced.Set(linked);
    // From 0 to 1 within the first half cycle, 1 s.
    for (u32 block = 0; block < 900; ++block) {
        const double expected = 1.0 - std::exp(-5.0 * (block + 1) * blockSeconds / 0.4);
        for (LFORig* source : {&seconds, &cycles, &synced}) {
            source->Block();
            ASSERT_NEAR(source->left[0], expected, 1e-5) << block;
        }
    }
    seconds.lfo.Reset(true);
    EXPECT_EQ(seconds.NextPhase(), 0.0) << "a reset brings back the start";
    EXPECT_LT(seconds.left[0], 0.02F);
}

} // namespace
} // namespace Velmora::dsp
