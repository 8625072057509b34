// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/phaser/Phaser.h"

#include "rigs/EffectRig.h"

#include <map>

namespace {

using namespace orphia::test;
using Velmora::dsp::Phaser;
using Velmora::Test::AnalogueFrequency;
using Velmora::Test::Complex;
using Velmora::Test::HighPass1;
using Velmora::Test::LowPass1;
using Velmora::Test::pi;

/// Equal stages that stand at 1 kHz.
const Settings still = {{Phaser::Freq, 1000.0F},
                        {Phaser::Depth, 0.0F},
                        {Phaser::Spread, 0.0F},
                        {Phaser::Feedback, 0.0F},
                        {Phaser::StereoPhase, 0.0F}};

/// The octaves of the corner from 1 kHz over time, read from the phase of a tone behind two stages: a value
/// for each of its cycles.
Signal Way(const Settings& settings, const Playing& how = {}, u32 side = 0, double level = 0.2,
           std::size_t frames = 88200) {
    const auto phaser = Make<Phaser>(still, {{Phaser::Stages, 2.0F}, {Phaser::DryWet, 1.0F}});
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
        const double lag = -std::arg(sum * Complex(0.0, 1.0));
        way.push_back(
            static_cast<float>(std::log2(1.05 / std::tan((lag < 0.0 ? lag + 2.0 * pi : lag) / 4.0))));
    }
    return way;
}

/// So many seconds in.
float At(const Signal& way, double seconds) { return way[static_cast<std::size_t>(seconds * 1050.0)]; }

} // namespace

TEST(PhaserTest, TheResponseIsThatOfAllPassesInALoopAtEveryRate) {
    struct Case {
        double stages, feedback, across, mix, wetDb, highCut;
        bool inverts;
    };
    for (const double rate : {32000.0, 44100.0, 192000.0}) {
        for (const Case& c : {Case{2, 0.7, 0.0, 0.5, 0, 9000, true},
                              {6, 0.0, 0.3, 0.3, 6, 9000, false},
                              {6, 0.7, 1.0, 0.5, 0, 20000, false},
                              {12, -0.7, 0.4, 1.0, -4, 9000, true},
                              {16, -0.7, 0.0, 0.7, 0, 20000, false}}) {
            Settings settings = still;
            for (const auto& [id, value] : {std::pair(Phaser::Stages, c.stages),
                                            {Phaser::Spread, 2.0},
                                            {Phaser::LowCut, 50.0},
                                            {Phaser::HighCut, c.highCut},
                                            {Phaser::Feedback, c.feedback},
                                            {Phaser::DryWet, c.mix},
                                            {Phaser::CrossFeedback, c.across},
                                            {Phaser::Invert, c.inverts ? 1.0 : 0.0},
                                            {Phaser::WetGain, c.wetDb}}) {
                settings.emplace_back(id, static_cast<float>(value));
            }
            const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.6) / 4 * 4);
            const auto heard = Play(*Make<Phaser>(settings, {}, static_cast<float>(rate)), impulse,
                                    Signal(impulse.size(), 0.0F));
            // Of equal power; the wet part in front of the loop keeps the notches whatever the feedback.
            const double ownWay = c.feedback * (1.0 - c.across);
            const double dry = std::cos(0.5 * pi * c.mix);
            const double wet = std::sin(0.5 * pi * c.mix) * (c.inverts ? ownWay - 1.0 : ownWay + 1.0);
            const double norm = 1.0 / std::sqrt(dry * dry + wet * wet / (1.0 - c.feedback * c.feedback));
            const double wetGain = norm * wet * std::pow(10.0, c.wetDb / 20.0);
            const double open = c.highCut < 20000.0 ? c.highCut : 0.49 * rate;
            for (const double hz : {30.0, 200.0, 480.0, 700.0, 1300.0, 2100.0, 5000.0, 12000.0}) {
                Complex chain = HighPass1(AnalogueFrequency(hz, 50.0, rate)) *
                                LowPass1(AnalogueFrequency(hz, open, rate));
                // From an octave below the middle to one above.
                for (double pair = 0.0; pair < c.stages / 2.0; pair += 1.0) {
                    const double octaves = c.stages > 2.0 ? 2.0 * pair / (c.stages / 2.0 - 1.0) - 1.0 : 0.0;
                    const Complex s = AnalogueFrequency(hz, 1000.0 * std::exp2(octaves), rate);
                    chain *= std::pow((1.0 - s) / (1.0 + s), 2);
                }
                // Sum and difference of the channels each go round a loop of their own.
                const Complex sum = chain / (1.0 - c.feedback * chain);
                const Complex difference = chain / (1.0 - c.feedback * (1.0 - 2.0 * c.across) * chain);
                const Complex expected[] = {norm * dry + 0.5 * wetGain * (sum + difference),
                                            0.5 * wetGain * (sum - difference)};
                for (u32 side = 0; side < 2; ++side) {
                    EXPECT_LT(std::abs(Transform(heard[side], hz, rate) - expected[side]), 0.003)
                        << hz << " Hz at " << rate << ", " << c.stages << " stages, side " << side;
                }
            }
        }
    }
}

TEST(PhaserTest, TheSweepHasItsDepthRateShapeAndPhase) {
    const auto with = [&](Settings more, u32 side = 0) {
        more.insert(more.begin(), {{Phaser::Depth, 1.5F}, {Phaser::LFOFreq, 1.0F}});
        return Way(more, {}, side);
    };
    // An eighth, a quarter, three eighths and three quarters through a cycle.
    const std::map<float, std::vector<float>> shapes = {{0.0F, {0.7071F, 1.0F, 0.7071F, -1.0F}},
                                                        {1.0F, {0.5F, 1.0F, 0.5F, -1.0F}},
                                                        {2.0F, {-0.75F, -0.5F, -0.25F, 0.5F}},
                                                        {3.0F, {0.75F, 0.5F, 0.25F, -0.5F}},
                                                        {4.0F, {1.0F, 1.0F, 1.0F, -1.0F}}};
    for (const auto& [shape, heights] : shapes) {
        const Signal way = with({{Phaser::LFOShape, shape}});
        const Signal ahead = with({{Phaser::LFOShape, shape}, {Phaser::StereoPhase, 90.0F}}, 1);
        const Signal moved = with({{Phaser::LFOShape, shape}, {Phaser::LFOPhase, 90.0F}});
        const double times[] = {0.125, 0.25, 0.375, 0.75};
        for (u32 i = 0; i < 4; ++i) {
            EXPECT_NEAR(At(way, times[i]), 1.5F * heights[i], 0.02F) << "shape " << shape << ", " << times[i];
            EXPECT_NEAR(At(ahead, times[i] + 0.75), 1.5F * heights[i], 0.02F) << "shape " << shape;
            EXPECT_NEAR(At(moved, times[i] + 0.75), 1.5F * heights[i], 0.02F) << "shape " << shape;
        }
    }
    const Signal pattern = with({{Phaser::LFOShape, 7.0F},
                                 {Phaser::PatternLength, 3.0F},
                                 {Phaser::Step1, 0.8F},
                                 {Phaser::Step2, -0.3F},
                                 {Phaser::Step3, 0.1F}});
    for (const auto& [time, height] : {std::pair(0.2, 1.2F), {0.5, -0.45F}, {0.8, 0.15F}, {1.2, 1.2F}}) {
        EXPECT_NEAR(At(pattern, time), height, 0.02F) << time;
    }
    const Signal held = with({{Phaser::LFOShape, 5.0F}, {Phaser::LFOFreq, 4.0F}});
    const Signal walked = with({{Phaser::LFOShape, 6.0F}, {Phaser::LFOFreq, 4.0F}});
    for (double cycle = 0.0; cycle < 1.6; cycle += 0.25) {
        EXPECT_NEAR(At(held, cycle + 0.05), At(held, cycle + 0.2), 0.01F);
        EXPECT_GT(std::abs(At(held, cycle + 0.1) - At(held, cycle + 0.35)), 0.05F) << cycle;
        EXPECT_NEAR(At(walked, cycle + 0.005), At(held, cycle + 0.2), 0.05F) << cycle;
        // Half way between two, and as far on either side of that.
        EXPECT_NEAR(At(walked, cycle + 0.125), 0.5F * (At(held, cycle + 0.2) + At(held, cycle + 0.45)),
                    0.05F);
    }
    const Signal round = with({{Phaser::LFOShape, 4.0F}, {Phaser::LFOGlide, 50.0F}});
    EXPECT_NEAR(At(round, 0.55), 1.5F * (2.0F * std::exp(-1.0F) - 1.0F), 0.04F);
    EXPECT_NEAR(At(with({{Phaser::Depth, 0.0F}, {Phaser::StereoOffset, 1.0F}}, 1), 1.0), 0.5F, 0.01F);
}

TEST(PhaserTest, InTimeASweepKeepsToTheTempoAndTheSong) {
    constexpr double beats[] = {32, 16, 12, 8, 6, 4, 3, 2, 1.5, 1, 2.0 / 3.0, 0.5};
    for (u32 step = 0; step < std::size(beats); ++step) {
        const Settings synced = {{Phaser::Depth, 1.0F},
                                 {Phaser::TempoSync, 1.0F},
                                 {Phaser::SyncRate, static_cast<float>(step)},
                                 {Phaser::LFOShape, 2.0F},
                                 {Phaser::LFOFreq, 7.0F}};
        const Signal free = Way(synced, {0, 0.0F, 150.0F}, 0, 0.2, 14700);
        const Signal song = Way(synced, {0, 0.0F, 150.0F, true, 25.3F}, 0, 0.2, 14700);
        for (const double time : {0.05, 0.14, 0.3}) {
            const double cycle = time * 2.5 / beats[step];
            const double inSong = cycle + 25.3 / beats[step];
            EXPECT_NEAR(At(free, time), 2.0 * (cycle - std::floor(cycle)) - 1.0, 0.06)
                << step << ", " << time;
            EXPECT_NEAR(At(song, time), 2.0 * (inSong - std::floor(inSong)) - 1.0, 0.06)
                << step << ", " << time;
        }
    }
}

TEST(PhaserTest, LoudnessAndKnobsMoveTheCornersInTheirTimes) {
    const Settings follows = {
        {Phaser::EnvAmount, 2.0F}, {Phaser::EnvAttack, 100.0F}, {Phaser::EnvRelease, 2000.0F}};
    EXPECT_NEAR(At(Way(follows, {}, 0, 0.9), 1.9), 2.0F * std::sqrt(0.9F), 0.06F);
    const Signal soft = Way(follows, {}, 0, 0.25);
    EXPECT_NEAR(At(soft, 1.9), 1.0F, 0.04F);
    // The follower climbs only while the sine is above it.
    EXPECT_NEAR(At(soft, 0.1), 0.9F * std::sqrt(1.0F - std::exp(-1.0F)), 0.05F);
}

TEST(PhaserTest, DryWetKeepsTheLevelOfNoise) {
    const Signal noise = Noise(44000, 0.5F, 1);
    for (const float feedback : {-0.9F, 0.6F}) {
        for (const float mix : {0.3F, 0.5F, 1.0F}) {
            const auto phaser = Make<Phaser>({{Phaser::Feedback, feedback},
                                              {Phaser::Stages, 12.0F},
                                              {Phaser::Spread, 5.0F},
                                              {Phaser::DryWet, mix}});
            EXPECT_NEAR(20.0 * std::log10(Rms(Play(*phaser, noise, noise)[0]) / Rms(noise)), 0.0, 1.5)
                << "mix " << mix << ", feedback " << feedback;
        }
    }
}
