// SPDX-License-Identifier: GPL-3.0-or-later
// The low-frequency oscillators of effects.
#include "Waves.h"
#include "dsp/lfo/ChorusLfo.h"
#include "dsp/lfo/LFOSimple.h"
#include "rigs/ModuleRig.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <memory>
#include <set>

namespace {

using namespace orphia::test;
using namespace Velmora::Test;
using Velmora::dsp::ChorusLfo;
using Velmora::dsp::LFOSimple;

constexpr float rate = 8000.0F;

std::unique_ptr<LFOSimple> Make(u32 shape, u32 rateType, float rateValue) {
    auto lfo = std::make_unique<LFOSimple>();
    lfo->Initialize(rate, 256);
    lfo->SetParameterValue(LFOSimple::Shape, static_cast<float>(shape));
    lfo->SetParameterValue(LFOSimple::RateType, static_cast<float>(rateType));
    lfo->SetParameterValue(LFOSimple::Rate, rateValue);
    return lfo;
}

/// Below beat 0 the song stands still.
std::vector<Signal> Play(LFOSimple& lfo, double seconds, float tempo = 120.0F, double beat = -1.0) {
    constexpr u32 block = 8;
    const auto frames = static_cast<u32>(seconds * 8000.0) / block * block;
    std::vector<Signal> outputs(2, Signal(frames));
    for (u32 n = 0; n < frames; n += block) {
        float* out[] = {&outputs[0][n], &outputs[1][n]};
        Velmora::dsp::ProcessContext context;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = block;
        context.tempo = tempo;
        context.isPlaying = beat >= 0.0 ? 1 : 0;
        context.songPosition = static_cast<float>(beat + n / 8000.0 * static_cast<double>(tempo) / 60.0);
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
    const double factors[] = {1.0, 1.5, 2.0 / 3.0};
    for (const float hz : {0.02F, 0.7F, 20.0F}) {
        const auto lfo = Make(LFOSimple::RampUp, LFOSimple::Hertz, hz);
        EXPECT_NEAR(CyclesOf(Play(*lfo, 20.0)[0]), 20.0 * static_cast<double>(hz), 0.02);
    }
    for (u32 choice = 0; choice < 27; ++choice) {
        const u32 length = choice % 9;
        const auto lfo = Make(LFOSimple::RampUp, LFOSimple::Beats + choice / 9, 1.0F);
        lfo->SetParameterNormalized(LFOSimple::Rate, (static_cast<float>(length) + 0.5F) / 9.0F);
        const double expected = 30.0 / (32.0 * std::exp2(-1.0 * length) * factors[choice / 9]);
        EXPECT_NEAR(CyclesOf(Play(*lfo, 20.0, 90.0F)[0]), expected, 0.002 * expected + 0.001) << choice;
    }
    for (const float tempo : {0.0F, -3.0F, std::numeric_limits<float>::quiet_NaN()}) {
        const auto lfo = Make(LFOSimple::RampUp, LFOSimple::Beats, 3.0F);
        EXPECT_NEAR(CyclesOf(Play(*lfo, 2.0, tempo, 5.0)[0]), 6.0, 0.02) << "no tempo: in Hz";
    }
}

TEST(LFOSimpleTest, InNotesItsCycleIsThatOfTheSongAndGlidesAfterAJump) {
    // Two beats: one cycle a second.
    const auto lfo = Make(LFOSimple::RampUp, LFOSimple::Beats, 1.0F);
    lfo->SetParameterNormalized(LFOSimple::Rate, 0.5F);
    const Signal start = Play(*lfo, 0.2, 120.0F, 7.0)[0];
    EXPECT_NEAR(start.front(), 0.0F, 1e-3F) << "half a cycle";
    const Signal after = Play(*lfo, 0.3, 120.0F, 20.8)[0];
    EXPECT_NEAR(after.front(), start.back(), 0.02F) << "no jump";
    EXPECT_NEAR(after.back(), 2.0F * (0.4F + 0.3F) - 1.0F, 0.01F) << "arrived";
    EXPECT_NEAR(CyclesOf(after), 0.3 - 0.3, 0.02) << "on the shorter way";
    Play(*lfo, 0.1, 120.0F, 30.0);
    lfo->Reset(true);
    EXPECT_NEAR(Play(*lfo, 0.1, 120.0F, 11.5)[0].front(), 0.5F, 1e-3F);
}

TEST(LFOSimpleTest, ShapesFollowTheirFormulasFromThePhaseOnAndTheSecondOutputIsAhead) {
    LFOSimple::StepValues steps;
    for (u32 i = 0; i < steps.size(); ++i) {
        steps[i] = static_cast<float>(i * 7 % 16) / 8.0F - 1.0F;
    }
    // 1603 frames a cycle.
    const double increment = 5.0 / 8015.0;
    for (u32 shape = 0; shape < LFOSimple::ShapeCount; ++shape) {
        const auto lfo = Make(shape, LFOSimple::Hertz, static_cast<float>(increment) * rate);
        lfo->SetParameterValue(LFOSimple::Phase, 36.0F);
        lfo->SetSteps(steps);
        lfo->SetShift(0.3F);
        const auto out = Play(*lfo, 2.0);
        for (std::size_t n = 0; n < out[0].size(); ++n) {
            for (const u32 c : {0U, 1U}) {
                const double x = 0.1 + static_cast<double>(n) * increment + 0.3 * c;
                const double place = Fraction(x) * LFOSimple::stepCount;
                if (std::abs(place - std::round(place)) < 0.01) {
                    continue; // an edge may fall a frame earlier or later
                }
                if (shape == LFOSimple::Random) {
                    // The second output is 481 frames ahead, and a cycle has one value.
                    ASSERT_LE(std::abs(out[0][n]), 1.0F);
                    ASSERT_TRUE(n + 481 >= out[0].size() || out[1][n] == out[0][n + 481]) << n;
                } else if (shape == LFOSimple::Steps) {
                    ASSERT_EQ(out[c][n], steps[static_cast<std::size_t>(place)]) << n;
                } else {
                    ASSERT_NEAR(out[c][n], Wave(shape, x), 5e-4) << "shape " << shape << ", frame " << n;
                }
            }
        }
        const std::set<float> values(out[0].begin(), out[0].end());
        EXPECT_TRUE(shape != LFOSimple::Random ||
                    (values.size() == 11 && *values.rbegin() - *values.begin() > 1.0F));
    }
}

TEST(ChorusLfoTest, ShapesFollowTheirFormulasAndTheDriftsTurnAQuarterOfASecondApart) {
    ChorusLfo lfo;
    lfo.Prepare(8000.0F);
    const ChorusLfo::Float4 offsets{0.0F, 0.2F, 0.45F, 0.9F};
    std::array<float, 4> last{};
    for (u32 n = 1; n < 20000; ++n) {
        lfo.Advance(n < 10000 ? 3.3F : 1e9F);
        const double cycles = (std::min(n, 9999U) * 3.3 + (n < 10000 ? 0 : n - 9999) * 20.0) / 2000.0;
        for (u32 lane = 0; lane < 4; ++lane) {
            const double x = cycles + static_cast<double>(offsets.get(lane));
            const double wanted[] = {Wave(0, x), Wave(1, x), 0.9 * Wave(0, x) + 0.1 * Wave(0, 8.0 * x)};
            for (u32 shape = 0; shape < 3; ++shape) {
                std::array<float, ChorusLfo::shapeCount> weights{};
                weights[shape] = 1.0F;
                ASSERT_NEAR(lfo.Value(weights, offsets, 0.0F).get(lane), wanted[shape], 1e-4)
                    << shape << ' ' << n;
            }
            // Each is flat where it turns to a new value.
            const float drift = lfo.Drift(0.0F).get(lane);
            if ((n + 500 * lane) % 2000 <= 1 && n > 1) {
                EXPECT_NEAR(drift, last[lane], 4e-6) << lane << " at " << n;
            }
            EXPECT_NEAR(drift, last[lane], n > 1 ? 0.0016F : 1.0F);
            last[lane] = drift;
        }
    }
}
