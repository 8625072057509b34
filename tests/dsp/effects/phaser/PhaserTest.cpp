// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/phaser/Phaser.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using namespace Velmora::Test;
using P = Velmora::dsp::Phaser;
using orphia::test::Signal;

/// Equal stages that stand at 1 kHz.
const Settings still = {
    {P::Freq, 1000}, {P::Depth, 0}, {P::Spread, 0}, {P::Feedback, 0}, {P::StereoPhase, 0}};

/// The octaves of the corner from 1 kHz over time, read from the phase of a tone behind two stages: a value
/// for each of its cycles.
Signal Way(const Settings& settings, u32 side = 0, double level = 0.2, std::size_t frames = 88200,
           const Playing& how = {}) {
    const auto phaser = Make<P>(still, {{P::Stages, 2}, {P::DryWet, 1}});
    Set(*phaser, settings);
    const Signal tone = Tone(frames, 1050.0, 44100.0, level);
    const Signal heard = Play(*phaser, tone, tone, how)[side];
    Signal way;
    for (std::size_t n = 0; n + 84 <= heard.size(); n += 42) {
        Complex sum;
        for (std::size_t k = 0; k < 84; ++k) {
            const double turn = 2.0 * pi * static_cast<double>(k) / 42.0;
            sum += static_cast<double>(heard[n + k]) * std::polar(1.0 - std::cos(0.5 * turn), -turn);
        }
        // The sine lags by four times the angle whose tangent is the frequency against the corner.
        const double lag = std::arg(-1.0 / (sum * Complex(0.0, 1.0))) + pi;
        way.push_back(static_cast<float>(std::log2(1.05 / std::tan(lag / 4.0))));
    }
    return way;
}

/// So many seconds in.
float At(const Signal& way, double seconds) { return way[static_cast<std::size_t>(seconds * 1050.0)]; }

} // namespace

TEST(PhaserTest, TheResponseIsThatOfAllPassesInALoopAtEveryRate) {
    struct Case {
        double stages, feedback, across, mix, wetDb, highCut, invert;
    };
    const Case cases[] = {{2, 0.7, 0.0, 0.5, 0, 9000, 1},
                          {6, 0.7, 1.0, 0.3, 6, 20000, 0},
                          {12, -0.7, 0.4, 1.0, -4, 9000, 1},
                          {16, -0.7, 0.0, 0.7, 0, 20000, 0}};
    for (const double rate : {32000.0, 44100.0, 192000.0}) {
        for (const Case& c : cases) {
            const Settings set = {{P::Stages, c.stages},     {P::Spread, 2},
                                  {P::LowCut, 50},           {P::HighCut, c.highCut},
                                  {P::Feedback, c.feedback}, {P::CrossFeedback, c.across},
                                  {P::DryWet, c.mix},        {P::Invert, c.invert},
                                  {P::WetGain, c.wetDb}};
            const Signal left = Impulse(static_cast<std::size_t>(rate * 0.6) / 4 * 4);
            const auto heard = Play(*Make<P>(still, set, float(rate)), left, Signal(left.size(), 0.0F));
            // Of equal power. What goes into the loop keeps the notches whatever the feedback.
            const double own = c.feedback * (1.0 - c.across);
            const double dry = std::cos(0.5 * pi * c.mix);
            const double wet = std::sin(0.5 * pi * c.mix) * (c.invert > 0.0 ? own - 1.0 : own + 1.0);
            const double norm = 1.0 / std::sqrt(dry * dry + wet * wet / (1.0 - c.feedback * c.feedback));
            const double wetGain = norm * wet * std::pow(10.0, c.wetDb / 20.0);
            for (const double hz : {30.0, 200.0, 480.0, 700.0, 1300.0, 2100.0, 5000.0, 12000.0}) {
                const double high = c.highCut < 20000.0 ? c.highCut : 0.49 * rate;
                Complex chain = HighPass1(AnalogueFrequency(hz, 50.0, rate)) *
                                LowPass1(AnalogueFrequency(hz, high, rate));
                // From an octave below the middle to one above.
                for (double pair = 0.0; pair < c.stages / 2.0; pair += 1.0) {
                    const double octaves = c.stages > 2.0 ? 2.0 * pair / (c.stages / 2.0 - 1.0) - 1.0 : 0.0;
                    const Complex s = AnalogueFrequency(hz, 1000.0 * std::exp2(octaves), rate);
                    chain *= std::pow((1.0 - s) / (1.0 + s), 2);
                }
                // Sum and difference of the channels each go round a loop of their own.
                const Complex sum = chain / (1.0 - c.feedback * chain);
                const Complex difference = chain / (1.0 - c.feedback * (1.0 - 2.0 * c.across) * chain);
                const Complex onLeft = norm * dry + 0.5 * wetGain * (sum + difference);
                const Complex onRight = 0.5 * wetGain * (sum - difference);
                const double error = std::abs(Transform(heard[0], hz, rate) - onLeft) +
                                     std::abs(Transform(heard[1], hz, rate) - onRight);
                EXPECT_LT(error, 0.005) << hz << " at " << rate << ", " << c.stages;
            }
        }
    }
}

/// Shapes and their time in the song have a test of their own.
TEST(PhaserTest, TheSweepHasItsDepthRatePhaseAndPattern) {
    const Settings rising = {{P::Depth, 1.5}, {P::LFOFreq, 1}, {P::LFOShape, 2}};
    const auto with = [&](Settings more, u32 side = 0, const Playing& how = {}) {
        more.insert(more.begin(), rising.begin(), rising.end());
        return Way(more, side, 0.2, 88200, how);
    };
    const Signal way = with({});
    const Signal moved = with({{P::LFOPhase, 30}, {P::StereoPhase, 60}}, 1);
    const Signal song = with({{P::TempoSync, 1}, {P::SyncRate, 7}}, 0, {0, 0.0F, 120.0F, true, 25.3F});
    for (const double time : {0.125, 0.25, 0.375, 0.75}) {
        const double height = 1.5 * (2.0 * time - 1.0);
        EXPECT_NEAR(At(way, time), height, 0.04) << time;
        EXPECT_NEAR(At(moved, time + 0.75), height, 0.04) << time;
        EXPECT_NEAR(At(song, time + 0.35), height, 0.04) << time;
    }
    const Signal pattern = with({{P::LFOShape, 7}, {P::PatternLength, 3}, {P::Step1, 0.8}, {P::Step3, 0.1}});
    for (const auto& [time, height] : {std::pair(0.2, 1.2F), {0.5, 0.375F}, {0.8, 0.15F}, {1.2, 1.2F}}) {
        EXPECT_NEAR(At(pattern, time), height, 0.02F) << time;
    }
}

TEST(PhaserTest, LoudnessAndKnobsMoveTheCornersInTheirTimes) {
    const Settings follows = {{P::EnvAmount, 2}, {P::EnvAttack, 100}, {P::EnvRelease, 2000}};
    const Signal soft = Way(follows, 0, 0.25);
    EXPECT_NEAR(At(soft, 1.9), 1.0F, 0.04F);
    // The follower climbs only while the sine is above it.
    EXPECT_NEAR(At(soft, 0.1), 0.9F * std::sqrt(1.0F - std::exp(-1.0F)), 0.05F);
}
