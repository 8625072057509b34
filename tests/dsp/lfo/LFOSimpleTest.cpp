// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/lfo/LFOSimple.h"

#include "rigs/OscillatorRig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

namespace {

using namespace orphia::test;
using Velmora::dsp::LFOSimple;

constexpr float rate = 8000.0F;

struct Song {
    float tempo = 120.0F;
    /// Below 0 it stands still.
    double beat = -1.0;
};

std::unique_ptr<LFOSimple> Make(const Settings& settings) {
    auto lfo = std::make_unique<LFOSimple>();
    lfo->Initialize(rate, 256);
    for (const auto& [id, value] : settings) {
        lfo->SetParameterValue(id, value);
    }
    return lfo;
}

std::vector<Signal> Play(LFOSimple& lfo, double seconds, Song song = {}, u32 block = 8) {
    const auto frames = static_cast<u32>(seconds * static_cast<double>(rate)) / block * block;
    std::vector<Signal> outputs(2, Signal(frames));
    for (u32 n = 0; n < frames; n += block) {
        float* out[] = {&outputs[0][n], &outputs[1][n]};
        Velmora::dsp::ProcessContext context;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = block;
        context.tempo = song.tempo;
        context.isPlaying = song.beat >= 0.0 ? 1 : 0;
        const double passed = static_cast<double>(n) / static_cast<double>(rate);
        context.songPosition =
            static_cast<float>(song.beat + passed * static_cast<double>(song.tempo) / 60.0);
        EXPECT_TRUE(Velmora::dsp::RunChild(lfo, context));
    }
    return outputs;
}

/// Cycles of a rising ramp.
double CyclesOf(const Signal& ramp) {
    double cycles = 0.0;
    for (std::size_t n = 1; n < ramp.size(); ++n) {
        const double way = static_cast<double>(ramp[n] - ramp[n - 1]) / 2.0;
        cycles += way - std::round(way);
    }
    return cycles;
}

} // namespace

TEST(LFOSimpleTest, RunsInHertzOrInNotesOfTheSong) {
    const double straight[] = {32.0, 16.0, 8.0, 4.0, 2.0, 1.0, 0.5, 0.25, 0.125};
    const double factors[] = {1.0, 1.5, 2.0 / 3.0};
    constexpr double seconds = 20.0;
    for (const float hz : {0.02F, 0.7F, 20.0F}) {
        const auto lfo = Make({{LFOSimple::Shape, LFOSimple::RampUp}, {LFOSimple::Rate, hz}});
        EXPECT_NEAR(CyclesOf(Play(*lfo, seconds)[0]), seconds * static_cast<double>(hz), 0.02);
    }
    for (u32 type = LFOSimple::Beats; type <= LFOSimple::Triplet; ++type) {
        for (u32 length = 0; length < 9; ++length) {
            const auto lfo = Make(
                {{LFOSimple::Shape, LFOSimple::RampUp}, {LFOSimple::RateType, static_cast<float>(type)}});
            lfo->SetParameterNormalized(LFOSimple::Rate, (static_cast<float>(length) + 0.5F) / 9.0F);
            const double expected = seconds * 90.0 / 60.0 / (straight[length] * factors[type - 1]);
            EXPECT_NEAR(CyclesOf(Play(*lfo, seconds, {90.0F})[0]), expected, 0.002 * expected + 0.001)
                << "type " << type << ", length " << straight[length];
        }
    }
    for (const float tempo : {0.0F, -3.0F, std::numeric_limits<float>::quiet_NaN()}) {
        const auto lfo = Make({{LFOSimple::Shape, LFOSimple::RampUp},
                               {LFOSimple::RateType, LFOSimple::Beats},
                               {LFOSimple::Rate, 3.0F}});
        EXPECT_NEAR(CyclesOf(Play(*lfo, 2.0, {tempo, 5.0})[0]), 6.0, 0.02) << "no tempo: in Hz";
    }
}

TEST(LFOSimpleTest, InNotesItsCycleIsThatOfTheSongAndGlidesAfterAJump) {
    // Two beats: one cycle a second.
    const auto lfo = Make({{LFOSimple::Shape, LFOSimple::RampUp}, {LFOSimple::RateType, LFOSimple::Beats}});
    lfo->SetParameterNormalized(LFOSimple::Rate, 0.5F);
    const Signal start = Play(*lfo, 0.2, {120.0F, 7.0})[0];
    EXPECT_NEAR(start.front(), 0.0F, 1e-3F) << "half a cycle";
    const Signal after = Play(*lfo, 0.3, {120.0F, 20.8})[0];
    EXPECT_NEAR(after.front(), start.back(), 0.02F) << "no jump";
    EXPECT_NEAR(after.back(), 2.0F * (0.4F + 0.3F) - 1.0F, 0.01F) << "arrived";
    EXPECT_NEAR(CyclesOf(after), 0.3 - 0.3, 0.02) << "on the shorter way";
    Play(*lfo, 0.1, {120.0F, 30.0});
    lfo->Reset(true);
    EXPECT_NEAR(Play(*lfo, 0.1, {120.0F, 11.5})[0].front(), 0.5F, 1e-3F);
}

TEST(LFOSimpleTest, ShapesStayWithinOneAndTheSecondOutputIsAhead) {
    // 40 frames a cycle, 10 of them ahead.
    for (u32 shape = 0; shape < LFOSimple::ShapeCount; ++shape) {
        const auto lfo =
            Make({{LFOSimple::Rate, rate / 400.0F}, {LFOSimple::Shape, static_cast<float>(shape)}});
        LFOSimple::StepValues steps;
        for (u32 i = 0; i < steps.size(); ++i) {
            steps[i] = i % 3 == 0 ? -1.0F : static_cast<float>(i) / 16.0F;
        }
        lfo->SetSteps(steps);
        lfo->SetShift(0.25F);
        const auto outputs = Play(*lfo, 2.0);
        double mean = 0.0;
        for (std::size_t n = 0; n + 100 < outputs[0].size(); ++n) {
            ASSERT_LE(std::abs(outputs[0][n]), 1.0001F) << "shape " << shape;
            // An edge may fall a frame earlier or later.
            const float ahead = outputs[0][n + 100];
            ASSERT_TRUE(std::abs(outputs[1][n] - ahead) < 0.001F || outputs[1][n] == outputs[0][n + 99] ||
                        outputs[1][n] == outputs[0][n + 101])
                << "shape " << shape << ", frame " << n << ": expected " << ahead << ", got "
                << outputs[1][n];
            mean += static_cast<double>(outputs[0][n]);
        }
        EXPECT_GT(Peak(outputs[0]), 0.6F) << "shape " << shape;
        if (shape < LFOSimple::Random) {
            EXPECT_NEAR(mean / static_cast<double>(outputs[0].size()), 0.0, 0.02) << "shape " << shape;
        }
    }
}

TEST(LFOSimpleTest, ShapesBeginAndTurnWhereTheyShould) {
    // At the start, after a quarter and after three quarters of a cycle.
    const float expected[][3] = {{0.0F, 1.0F, -1.0F},
                                 {0.0F, 1.0F, -1.0F},
                                 {-1.0F, -0.5F, 0.5F},
                                 {1.0F, 0.5F, -0.5F},
                                 {1.0F, 1.0F, -1.0F}};
    for (u32 shape = 0; shape < LFOSimple::Random; ++shape) {
        const auto lfo =
            Make({{LFOSimple::Rate, rate / 1600.0F}, {LFOSimple::Shape, static_cast<float>(shape)}});
        const Signal out = Play(*lfo, 0.2)[0];
        for (u32 at = 0; at < 3; ++at) {
            const std::size_t frames[] = {0, 400, 1200};
            EXPECT_NEAR(out[frames[at]], expected[shape][at], 0.001F) << "shape " << shape;
        }
    }
}

TEST(LFOSimpleTest, StepsAreHeldForASixteenthOfTheCycleFromThePhaseOn) {
    const auto lfo = Make({{LFOSimple::Rate, rate / 1600.0F}, {LFOSimple::Shape, LFOSimple::Steps}});
    LFOSimple::StepValues steps;
    for (u32 i = 0; i < steps.size(); ++i) {
        steps[i] = static_cast<float>(i) / 16.0F;
    }
    lfo->SetSteps(steps);
    const Signal plain = Play(*lfo, 0.2)[0];
    lfo->Reset(true);
    lfo->SetParameterValue(LFOSimple::Phase, 90.0F);
    const Signal ahead = Play(*lfo, 0.2)[0];
    for (u32 step = 0; step < 16; ++step) {
        EXPECT_EQ(plain[100 * step + 50], steps[step]);
        EXPECT_EQ(ahead[100 * step + 50], steps[(step + 4) % 16]);
    }
}

TEST(LFOSimpleTest, AChangeOfRateKeepsThePhaseAndBlocksDoNotShow) {
    const auto lfo = Make({{LFOSimple::Shape, LFOSimple::Triangle}, {LFOSimple::Rate, 0.5F}});
    const float last = Play(*lfo, 1.3)[0].back();
    lfo->SetParameterValue(LFOSimple::Rate, 15.0F);
    EXPECT_NEAR(Play(*lfo, 0.1)[0].front(), last, 0.001F);

    const auto small = Make({{LFOSimple::Rate, 5.0F}});
    const auto large = Make({{LFOSimple::Rate, 5.0F}});
    const Signal a = Play(*small, 1.0, {}, 4)[0];
    const Signal b = Play(*large, 1.0, {}, 200)[0];
    for (std::size_t n = 0; n < a.size(); ++n) {
        ASSERT_NEAR(a[n], b[n], 1e-5F) << n;
    }
}
