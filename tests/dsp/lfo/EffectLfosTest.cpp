// SPDX-License-Identifier: GPL-3.0-or-later
// The low-frequency oscillators of effects.
#include "dsp/lfo/ChorusLfo.h"
#include "dsp/lfo/LFOSimple.h"
#include "dsp/lfo/SweepLfo.h"
#include "rigs/OscillatorRig.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <set>

namespace {

using namespace orphia::test;
using Velmora::dsp::ChorusLfo;
using Velmora::dsp::LFOSimple;
using Velmora::dsp::SweepLfo;
using Velmora::dsp::SweepLfoSettings;

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

double Fraction(double x) { return x - std::floor(x); }

/// Sine, triangle, ramps and square, which all count alike, at a phase.
double Wave(u32 shape, double x) {
    const double p = Fraction(x);
    switch (shape) {
    case 0:
        return std::sin(2.0 * std::numbers::pi * p);
    case 1:
        return 1.0 - std::abs(4.0 * Fraction(p + 0.25) - 2.0);
    case 2:
        return 2.0 * p - 1.0;
    case 3:
        return 1.0 - 2.0 * p;
    default:
        return p < 0.5 ? 1.0 : -1.0;
    }
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

TEST(LFOSimpleTest, ShapesFollowTheirFormulasFromThePhaseOnAndTheSecondOutputIsAhead) {
    LFOSimple::StepValues steps;
    for (u32 i = 0; i < steps.size(); ++i) {
        steps[i] = static_cast<float>(i * 7 % 16) / 8.0F - 1.0F;
    }
    // 1603 frames a cycle.
    const double increment = 5.0 / 8015.0;
    for (u32 shape = 0; shape < LFOSimple::ShapeCount; ++shape) {
        const auto lfo = Make({{LFOSimple::Rate, static_cast<float>(increment) * rate},
                               {LFOSimple::Shape, static_cast<float>(shape)},
                               {LFOSimple::Phase, 36.0F}});
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

TEST(SweepLfoTest, ShapesFollowTheirFormulasInHertzOrInTheSongAndJumpsGlide) {
    constexpr double quads = 8000.0 / 4.0;
    for (u32 shape = 0; shape < SweepLfoSettings::shapeCount; ++shape) {
        SweepLfo lfo;
        lfo.Prepare(8000.0F);
        SweepLfoSettings settings{
            .shape = shape, .rateHz = 0.77F, .phase = 0.1F, .stereoPhase = 0.3F, .stepCount = 5};
        settings.steps = {-1.0F, 0.2F, 0.9F, -0.4F, 0.6F};
        lfo.Set(settings);
        lfo.Reset();
        double expected[2] = {};
        std::set<double> drawn;
        const double follow = -std::expm1(-1.0 / (quads * 0.0015));
        for (u32 n = 1; n < 20000; ++n) {
            Velmora::dsp::ProcessContext song;
            song.isPlaying = 1;
            song.songPosition = 7.5F;
            if (n == 5000) { // half a cycle of three beats
                lfo.FollowSong(song, 3.0F);
            }
            lfo.Advance();
            const double time = n < 5000 ? n : n - 4999;
            for (const u32 side : {0U, 1U}) {
                const double x = (n < 5000 ? 0.1 : 0.6) + time * 0.77 / quads + 0.3 * side;
                const double value = lfo.Value().get(side);
                ASSERT_LE(std::abs(value), 1.0001);
                if (shape == SweepLfoSettings::SampleAndHold || shape == SweepLfoSettings::Random) {
                    drawn.insert(std::abs(Fraction(x) - 0.9) < 0.0001 ? value : 0.0);
                    continue;
                }
                const double target =
                    shape == SweepLfoSettings::Pattern
                        ? static_cast<double>(settings.steps[static_cast<u32>(Fraction(x) * 5.0)])
                        : Wave(shape, x);
                expected[side] += (n == 1 ? 1.0 : follow) * (target - expected[side]);
                ASSERT_NEAR(value, expected[side],
                            0.02 + (std::abs(target - expected[side]) > 0.05 ? 1.0 : 0.0))
                    << "shape " << shape << " at " << n;
            }
        }
        EXPECT_TRUE(drawn.empty() || drawn.size() > 4) << shape;
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
