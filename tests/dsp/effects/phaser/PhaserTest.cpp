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

Signal ResponseOf(Phaser& phaser, float rate) {
    const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.6F) / 4 * 4);
    return Play(phaser, impulse, impulse)[0];
}

/// The octaves of the corner from 1 kHz over time, one value a millisecond, read from the phase of a tone
/// behind two stages.
Signal Way(const Settings& settings, const Playing& how = {}, u32 side = 0, float level = 0.2F) {
    const Settings two = {{Phaser::Stages, 2.0F}, {Phaser::DryWet, 1.0F}};
    const auto phaser = Make<Phaser>(still, two);
    Set(*phaser, settings);
    const Signal tone = Tone(44100 * 2, 1050.0, 44100.0, static_cast<double>(level));
    const Signal heard = Play(*phaser, tone, tone, how)[side];
    Signal way;
    for (std::size_t n = 0; n + 84 <= heard.size(); n += 42) {
        Complex sum;
        for (std::size_t k = 0; k < 84; ++k) {
            const double turn = 2.0 * pi * static_cast<double>(k) / 42.0;
            sum += static_cast<double>(heard[n + k]) * std::polar(1.0 - std::cos(0.5 * turn), -turn);
        }
        // A sine lags its cosine by a quarter turn, the chain the sine by four times the angle of a stage's
        // half.
        const double lag = -std::arg(sum * Complex(0.0, 1.0));
        way.push_back(
            static_cast<float>(std::log2(1.05 / std::tan((lag < 0.0 ? lag + 2.0 * pi : lag) / 4.0))));
    }
    return way;
}

/// Of the tone's values: so many seconds in.
float At(const Signal& way, double seconds) { return way[static_cast<std::size_t>(seconds * 1050.0)]; }

} // namespace

TEST(PhaserTest, TheResponseIsThatOfAllPassesInALoopAtEveryRate) {
    for (const float rate : {32000.0F, 44100.0F, 192000.0F}) {
        const auto fs = static_cast<double>(rate);
        for (const float feedback : {0.0F, 0.7F, -0.7F}) {
            for (const auto& [stages, invert] : {std::pair(2U, 1.0F), {6U, 0.0F}, {6U, 1.0F}, {16U, 0.0F}}) {
                const auto phaser = Make<Phaser>(still,
                                                 {{Phaser::Stages, static_cast<float>(stages)},
                                                  {Phaser::Spread, 2.0F},
                                                  {Phaser::Invert, invert},
                                                  {Phaser::LowCut, 50.0F},
                                                  {Phaser::HighCut, 9000.0F},
                                                  {Phaser::Feedback, feedback}},
                                                 rate);
                const Signal heard = ResponseOf(*phaser, rate);
                const auto f = static_cast<double>(feedback);
                const double wet = invert > 0.0F ? f - 1.0 : 1.0 + f;
                const double norm = 1.0 / std::sqrt(1.0 + wet * wet / (1.0 - f * f));
                for (const double hz : {30.0, 200.0, 480.0, 700.0, 1300.0, 2100.0, 5000.0, 12000.0}) {
                    Complex chain = HighPass1(AnalogueFrequency(hz, 50.0, fs)) *
                                    LowPass1(AnalogueFrequency(hz, 9000.0, fs));
                    // From an octave below the middle to one above.
                    for (u32 pair = 0; pair < stages / 2; ++pair) {
                        const double octaves = stages > 2 ? 2.0 * pair / (stages / 2 - 1.0) - 1.0 : 0.0;
                        const double corner = 1000.0 * std::exp2(octaves);
                        const Complex s = AnalogueFrequency(hz, corner, fs);
                        chain *= std::pow((1.0 - s) / (1.0 + s), 2);
                    }
                    const Complex expected = norm * (1.0 + wet * chain / (1.0 - f * chain));
                    const Complex got = Transform(heard, hz, fs);
                    EXPECT_LT(std::abs(got - expected), 0.002)
                        << hz << " Hz at " << rate << ", " << stages << " stages, feedback " << f << ": "
                        << got << ", expected " << expected;
                }
            }
        }
    }
}

TEST(PhaserTest, TheSweepHasItsDepthRateShapeAndPhase) {
    const Settings swept = {{Phaser::Depth, 1.5F}, {Phaser::LFOFreq, 1.0F}};
    const auto with = [&](Settings more, u32 side = 0) {
        more.insert(more.begin(), swept.begin(), swept.end());
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
            EXPECT_NEAR(At(way, times[i]), 1.5F * heights[i], 0.04F) << "shape " << shape << ", " << times[i];
            EXPECT_NEAR(At(ahead, times[i] + 0.75), 1.5F * heights[i], 0.04F) << "shape " << shape;
            EXPECT_NEAR(At(moved, times[i] + 0.75), 1.5F * heights[i], 0.04F) << "shape " << shape;
        }
    }
    const Signal pattern = with({{Phaser::LFOShape, 7.0F},
                                 {Phaser::PatternLength, 3.0F},
                                 {Phaser::Step1, 0.8F},
                                 {Phaser::Step2, -0.3F},
                                 {Phaser::Step3, 0.1F}});
    for (const double cycle : {0.0, 1.0}) {
        EXPECT_NEAR(At(pattern, cycle + 0.2), 1.2F, 0.02F);
        EXPECT_NEAR(At(pattern, cycle + 0.5), -0.45F, 0.02F);
        EXPECT_NEAR(At(pattern, cycle + 0.8), 0.15F, 0.02F);
    }
    const Signal held = with({{Phaser::LFOShape, 5.0F}, {Phaser::LFOFreq, 4.0F}});
    const Signal walked = with({{Phaser::LFOShape, 6.0F}, {Phaser::LFOFreq, 4.0F}});
    for (double cycle = 0.0; cycle < 1.6; cycle += 0.25) {
        EXPECT_NEAR(At(held, cycle + 0.05), At(held, cycle + 0.2), 0.01F);
        EXPECT_GT(std::abs(At(held, cycle + 0.1) - At(held, cycle + 0.35)), 0.05F) << cycle;
        EXPECT_NEAR(At(walked, cycle + 0.005), At(held, cycle + 0.2), 0.05F) << cycle;
    }
    const Signal offset = Way({{Phaser::StereoOffset, 1.0F}}, {}, 1);
    EXPECT_NEAR(At(offset, 1.0), 0.5F, 0.01F);
}

TEST(PhaserTest, InTimeASweepKeepsToTheTempoAndTheSong) {
    const Settings synced = {{Phaser::Depth, 1.0F},
                             {Phaser::TempoSync, 1.0F},
                             {Phaser::SyncRate, 7.0F},
                             {Phaser::LFOShape, 2.0F},
                             {Phaser::LFOFreq, 7.0F}};
    // Two beats at 150 a minute are 0.8 s; the song is half a beat after the start of a cycle.
    const Signal free = Way(synced, {0, 0.0F, 150.0F});
    const Signal song = Way(synced, {0, 0.0F, 150.0F, true, 4.5F});
    for (const double time : {0.1, 0.3, 0.55, 1.0, 1.2}) {
        const double cycle = time / 0.8;
        EXPECT_NEAR(At(free, time), 2.0 * (cycle - std::floor(cycle)) - 1.0, 0.03) << time;
        const double inSong = cycle + 0.25;
        EXPECT_NEAR(At(song, time), 2.0 * (inSong - std::floor(inSong)) - 1.0, 0.03) << time;
    }
}

TEST(PhaserTest, LoudnessMovesTheCornersWithItsAttackAndRelease) {
    const Settings follows = {
        {Phaser::EnvAmount, 2.0F}, {Phaser::EnvAttack, 100.0F}, {Phaser::EnvRelease, 2000.0F}};
    EXPECT_NEAR(At(Way(follows, {}, 0, 0.9F), 1.9), 2.0F * std::sqrt(0.9F), 0.06F);
    const Signal soft = Way(follows, {}, 0, 0.25F);
    EXPECT_NEAR(At(soft, 1.9), 1.0F, 0.04F);
    // The follower climbs only while the sine is above it.
    EXPECT_NEAR(At(soft, 0.1), 0.9F * std::sqrt(1.0F - std::exp(-1.0F)), 0.05F);
}

TEST(PhaserTest, DryWetIsExactAtItsEndAndKeepsTheLevelOfNoise) {
    const Signal noise = Noise(44000, 0.5F, 1);
    for (const float feedback : {-0.9F, 0.0F, 0.6F, 0.9F}) {
        for (const float mix : {0.0F, 0.3F, 0.5F, 1.0F}) {
            for (const float invert : {0.0F, 1.0F}) {
                const auto phaser = Make<Phaser>({{Phaser::Feedback, feedback},
                                                  {Phaser::Stages, 12.0F},
                                                  {Phaser::Invert, invert},
                                                  {Phaser::Spread, 5.0F},
                                                  {Phaser::DryWet, mix}});
                const Signal out = Play(*phaser, noise, noise)[0];
                EXPECT_NEAR(20.0 * std::log10(Rms(out) / Rms(noise)), 0.0, 1.5)
                    << "mix " << mix << ", feedback " << feedback << ", inverted " << invert;
                EXPECT_EQ(out == noise, mix == 0.0F);
            }
        }
    }
}

TEST(PhaserTest, ControlsAreSmoothAndNoneIsIdle) {
    std::vector<Settings> where(Phaser::parameterCount, {{Phaser::LFOFreq, 3.0F}, {Phaser::EnvAmount, 1.0F}});
    where[Phaser::SyncRate] = {{Phaser::TempoSync, 1.0F}};
    for (u32 id = Phaser::PatternLength; id <= Phaser::Step8; ++id) {
        where[id] = {{Phaser::LFOShape, 7.0F}, {Phaser::LFOFreq, 4.0F}};
    }
    ExpectEveryParameterToAct<Phaser>(where);
    ExpectModulationToMove<Phaser>({Phaser::Freq, Phaser::Feedback, Phaser::LFOFreq, Phaser::DryWet},
                                   {{Phaser::Feedback, 0.5F}});
    ExpectNoSteps<Phaser>({}, 0.025F);
}

TEST(PhaserTest, BlocksResetsAndFaultsLeaveNoTrace) {
    const Settings busy = {{Phaser::Feedback, 0.8F},      {Phaser::LFOShape, 6.0F}, {Phaser::EnvAmount, 2.0F},
                           {Phaser::CrossFeedback, 0.4F}, {Phaser::Drive, 9.0F},    {Phaser::LFOFreq, 5.0F}};
    const Settings other = {{Phaser::Stages, 16.0F}, {Phaser::Depth, 0.0F},  {Phaser::EnvAmount, 0.0F},
                            {Phaser::Drive, 0.0F},   {Phaser::DryWet, 0.8F}, {Phaser::Freq, 3000.0F}};
    ExpectNoTraceOfBlocksResetsAndFaults<Phaser>(busy, other, 10.0F);
}
