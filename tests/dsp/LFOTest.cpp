// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/LFO.h"

#include "LFORig.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

using namespace Test;

TEST(LFOTest, DeclaresItsParametersAndDefaults) {
    LFO lfo;
    EXPECT_EQ(lfo.FindParameter(LFO::mode)->GetValue(), 2.0F);
    EXPECT_EQ(lfo.FindParameter(LFO::amp)->GetValue(), 1.0F);
    EXPECT_EQ(lfo.FindParameter(LFO::currentValueLFeedback)->name, "CurrentValueLFeedback");
    EXPECT_EQ(lfo.FindParameter(LFO::swing)->maxValue, 75.0F);
    EXPECT_EQ(lfo.FindParameter(LFO::parameterCount), nullptr);
}

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
            LFORig source({{LFO::rateUnSynced, 7.3F}, {LFO::phaseInit, 45.0F}, {LFO::amp, 0.5F}}, false);
            source.Set({{LFO::waveform, static_cast<float>(waveform)}, {LFO::unipolar, single}});
            source.Set({{LFO::stereo, 1.0F}, {LFO::stereoSpread, 72.0F}});
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

/// Both channels of sample and hold, 100 frames a cycle.
std::array<std::vector<float>, 2> Held(const Settings& settings, u32 blocks) {
    LFORig source({{LFO::waveform, LFO::SampleAndHold}, {LFO::rateUnSynced, 441.0F}}, false);
    source.Set({{LFO::stereo, 1.0F}});
    source.Set(settings);
    std::array<std::vector<float>, 2> signals;
    for (u32 block = 0; block < blocks; ++block) {
        source.Block();
        signals[0].insert(signals[0].end(), source.left.begin(), source.left.end());
        signals[1].insert(signals[1].end(), source.right.begin(), source.right.end());
    }
    return signals;
}

TEST(LFOTest, SampleAndHoldDrawsOncePerCycleAcrossTheWholeRange) {
    const auto [left, mirrored] = Held({{LFO::snhStereoMode, 1.0F}}, 10000);
    std::set<float> values;
    double sum = 0.0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        values.insert(left[i]);
        sum += static_cast<double>(left[i]);
        ASSERT_EQ(mirrored[i], -left[i]) << i;
    }
    EXPECT_NEAR(static_cast<double>(values.size()), 4400.0, 1.0);
    EXPECT_NEAR(*values.begin(), -1.0F, 0.01F);
    EXPECT_NEAR(*values.rbegin(), 1.0F, 0.01F);
    EXPECT_GE(*values.begin(), -1.0F);
    EXPECT_LE(*values.rbegin(), 1.0F);
    EXPECT_NEAR(sum / static_cast<double>(left.size()), 0.0, 0.03);
}

TEST(LFOTest, NewValuesComeWithCyclesAndWithNothingElse) {
    // Swing changes no number of cycles; the end of a one-shot cycle is no beginning.
    struct Case {
        float mode, synced, swing;
        std::size_t expected;
    };
    for (const Case& c : {Case{2, 0, 66, 20}, Case{2, 1, 66, 20}, Case{0, 0, 50, 1}, Case{0, 1, 50, 1}}) {
        LFORig source(twoHertz);
        source.Set({{LFO::waveform, LFO::SampleAndHold}, {LFO::mode, c.mode}, {LFO::midiSync, c.synced}});
        source.Set({{LFO::swing, c.swing}});
        std::set<float> values;
        for (u32 block = 0; block < 10000; ++block) {
            source.Block();
            values.insert(source.left[0]);
        }
        EXPECT_EQ(values.size(), c.expected) << "mode " << c.mode << " sync " << c.synced;
    }
}

TEST(LFOTest, WithoutACycleAValueIsHeldUntilSeedOrRetriggerDrawsAnother) {
    LFORig source({{LFO::waveform, LFO::SampleAndHold}, {LFO::rateUnSynced, 0.0F}});
    const auto next = [&source] {
        source.Block();
        return source.left[0];
    };
    const float first = next();
    EXPECT_EQ(next(), first);
    source.lfo.Retrigger();
    const float second = next();
    EXPECT_NE(second, first);
    source.lfo.Seed(9);
    const float seeded = next();
    EXPECT_NE(seeded, second);
    source.lfo.Retrigger();
    source.lfo.Seed(9);
    EXPECT_EQ(next(), seeded);
}

TEST(LFOTest, TheSecondChannelHoldsTheValuesOfTheFirstLaterByTwiceTheSpread) {
    for (const auto& [degrees, frames] : {std::pair(0.0F, 0U), {45.0F, 25U}, {90.0F, 50U}, {180.0F, 100U}}) {
        const auto [left, right] = Held({{LFO::stereoSpread, degrees}}, 100);
        u32 different = 0;
        for (std::size_t i = 200; i < left.size(); ++i) {
            different += right[i] != left[i - frames] ? 1 : 0;
        }
        // Rounding may move a cycle's border by a frame.
        EXPECT_LE(different, 42U) << degrees << " degrees";
    }
}

TEST(LFOTest, TheFadeRisesExponentiallyAndNeverOvershoots) {
    const Settings square = {{LFO::waveform, LFO::Square}, {LFO::rateUnSynced, 0.01F}};
    for (const bool perBlock : {true, false}) {
        LFORig source(square, perBlock);
        source.Set({{LFO::fade, 0.5F}});
        source.lfo.Retrigger();
        for (u32 block = 0; block < 600; ++block) {
            source.Block();
            const double place = std::min(block * blockSeconds / 0.5, 1.0);
            ASSERT_NEAR(source.left[0], std::expm1(10.0 * place) / std::expm1(10.0), 2e-3) << block;
        }
    }
    LFORig brief(square, false);
    brief.Set({{LFO::fade, 1e-4F}});
    brief.lfo.Retrigger();
    brief.Block();
    EXPECT_LT(brief.left[1], 0.5F);
    for (u32 i = 5; i < blockSize; ++i) {
        EXPECT_EQ(brief.left[i], 1.0F) << i;
    }
}

TEST(LFOTest, SmoothingReachesAStepInItsTimeInSecondsOrInCycles) {
    const Settings slowSquare = {{LFO::waveform, LFO::Square}, {LFO::rateUnSynced, 0.5F}};
    LFORig seconds(slowSquare);
    LFORig cycles(slowSquare);
    LFORig synced({{LFO::waveform, LFO::Square}, {LFO::midiSync, 1.0F}, {LFO::rateSynced, 3.0F}});
    seconds.Set({{LFO::smooth, 0.4F}});
    cycles.Set({{LFO::smooth, 0.2F}, {LFO::smoothRateLinked, 1.0F}});
    synced.Set({{LFO::smooth, 0.2F}, {LFO::smoothRateLinked, 1.0F}});
    // From 0 to 1 within the first half cycle, 1 s.
    for (u32 block = 0; block < 900; ++block) {
        seconds.Block();
        cycles.Block();
        synced.Block();
        const double expected = 1.0 - std::exp(-5.0 * (block + 1) * blockSeconds / 0.4);
        ASSERT_NEAR(seconds.left[0], expected, 1e-5) << block;
        ASSERT_NEAR(cycles.left[0], expected, 1e-5) << block;
        ASSERT_NEAR(synced.left[0], expected, 1e-5) << block;
    }
}

TEST(LFOTest, ResetBringsBackTheStart) {
    LFORig source({{LFO::waveform, LFO::SampleAndHold}, {LFO::rateUnSynced, 30.0F}, {LFO::smooth, 0.1F}});
    std::array<std::vector<float>, 2> runs;
    for (auto& run : runs) {
        source.lfo.Reset(true);
        source.lfo.Seed(7);
        EXPECT_EQ(source.NextPhase(), 0.0);
        for (u32 block = 0; block < 200; ++block) {
            source.Block();
            run.push_back(source.left[0]);
        }
    }
    EXPECT_EQ(runs[0], runs[1]);
}

TEST(LFOTest, GarbageNeverLeavesTheRangeNorAMark) {
    constexpr std::array<float, 9> garbage = {nan, inf, -inf, 0.0F, -3.0F, 1e30F, -1e30F, 1e-38F, 0.4F};
    for (const bool perBlock : {true, false}) {
        for (const float mode : {0.0F, 1.0F, 2.0F}) {
            std::mt19937 engine(5);
            const auto random = [&engine](u32 count) { return static_cast<u32>(engine() % count); };
            const auto any = [&] { return garbage[random(garbage.size())]; };
            LFORig source({{LFO::mode, mode}}, perBlock);
            for (u32 block = 0; block < 20000; ++block) {
                const u32 id = random(LFO::currentPhaseFeedback);
                if (id != LFO::controlRate && block % 3 == 0) {
                    source.Set({{id, any()}});
                }
                source.Modulate(random(3), any());
                source.inputs[random(3)][-1] = 0.0F;
                source.tempo = any();
                source.beat = static_cast<double>(any());
                source.playing = random(2) == 0;
                source.Block(random(4) == 0 ? 0 : blockSize);
                const double phase = source.Phase();
                ASSERT_TRUE(phase >= 0.0 && phase < 1.0) << phase << " in block " << block;
                ASSERT_TRUE(std::isfinite(source.left[0]) && std::isfinite(source.right[0])) << block;
            }
            for (const u32 input : {0U, 1U, 2U}) {
                source.inputs[input][-1] = 0.0F;
            }
            for (u32 id = LFO::midiSync; id < LFO::currentPhaseFeedback; ++id) {
                if (id != LFO::controlRate) {
                    source.lfo.SetParameterNormalized(id, 0.0F);
                }
            }
            source.Set({{LFO::mode, mode}, {LFO::rateUnSynced, 3.0F}, {LFO::amp, 1.0F}});
            source.tempo = 120.0F;
            source.beat = 0.0;
            source.playing = false;
            source.Block();
            source.Set({{LFO::gateIn, 1.0F}});
            const double start = source.NextPhase();
            for (u32 block = 1; block < 200; ++block) {
                ASSERT_LT(PhaseError(source.NextPhase(), start + block * blockSeconds * 3.0), 1e-5) << block;
                ASSERT_NEAR(source.left[0], Wave(LFO::Sine, source.Phase()), 1e-5) << block;
            }
        }
    }
}

} // namespace
} // namespace Velmora::dsp
