// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/chorus/Chorus.h"

#include "rigs/EffectRig.h"

#include <numeric>
#include <tuple>

namespace {

using namespace orphia::test;
using Velmora::dsp::Chorus;

constexpr double twoPi = 2.0 * std::numbers::pi;

/// One voice that does not move, wet alone.
const Settings still = {{Chorus::DryWet, 1.0F}, {Chorus::Depth, 0.0F}, {Chorus::Voices, 1.0F}};

/// Deviation of the frequency of a swung sine from its own, in Hz.
Signal FrequencyDeviation(const Signal& swung, std::size_t period, double rate) {
    Signal deviation;
    std::complex<double> last;
    const std::size_t window = 4 * period;
    for (std::size_t n = 0; n + window < swung.size(); n += period) {
        std::complex<double> sum;
        for (std::size_t k = 0; k < window; ++k) {
            const double weight =
                1.0 - std::cos(twoPi * static_cast<double>(k) / static_cast<double>(window));
            sum += static_cast<double>(swung[n + k]) *
                   std::polar(weight, -twoPi * static_cast<double>(k) / static_cast<double>(period));
        }
        const double turn = std::arg(sum * std::conj(last));
        deviation.push_back(static_cast<float>(turn * rate / (twoPi * static_cast<double>(period))));
        last = sum;
    }
    deviation.erase(deviation.begin(), deviation.begin() + 30);
    return deviation;
}

} // namespace

TEST(ChorusTest, AStillVoiceDelaysByTheDelayInMillisecondsAndKeepsTheTreble) {
    const float step = 1.0F / (16.0F * 44.1F);
    for (const float rate : {22050.0F, 44100.0F, 192000.0F}) {
        for (const float delay : {0.6F, 0.9137F, 6.8F + step, 6.8F + 7.0F * step, 59.9F}) {
            const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.1F) / 4 * 4);
            const Signal out =
                Play(*Make<Chorus>(still, {{Chorus::Delay, delay}}, rate), impulse, impulse)[1];
            for (const double hz : {1300.0, 4000.0, 10000.0}) {
                const auto got = Transform(out, hz, static_cast<double>(rate));
                const auto expected = std::polar(1.0, -twoPi * hz * static_cast<double>(delay) * 0.001);
                const double gain = rate < 44000.0F ? 0.0 : 20.0 * std::log10(std::abs(got));
                if (hz < 0.25 * static_cast<double>(rate)) {
                    EXPECT_LT(std::abs(got - expected), hz > 5000.0 ? 0.03 : 0.02)
                        << delay << " ms, " << rate << " Hz, at " << hz;
                    EXPECT_NEAR(gain, 0.0, hz > 5000.0 ? 0.25 : 0.03)
                        << delay << " ms, " << rate << " Hz, at " << hz;
                }
            }
        }
    }
}

TEST(ChorusTest, TheSwingHasTheDepthTheRateAndTheShapeAskedFor) {
    constexpr double depth = 0.003;
    constexpr double cycles = 2.0;
    const Signal sine = Tone(44100 * 3, 1050.0, 44100.0, 0.5);
    const double steepest[] = {twoPi, 4.0, twoPi * (0.9 + 0.1 * 8.0), 3.0};
    for (u32 shape = 0; shape < 4; ++shape) {
        const auto chorus = Make<Chorus>(still, {{Chorus::Delay, shape == 1 ? 0.6F : 12.0F},
                                                 {Chorus::Depth, 3.0F},
                                                 {Chorus::Freq, 2.0F},
                                                 {Chorus::LFOShape, static_cast<float>(shape)}});
        const Signal deviation = FrequencyDeviation(Play(*chorus, sine, sine)[0], 42, 44100.0);
        const double expected = 1050.0 * depth * cycles * steepest[shape];
        const auto peak = static_cast<double>(Peak(deviation));
        // The random shape is as steep now and then.
        EXPECT_LT(peak, (shape == 3 ? 1.01 : 1.02) * expected) << "shape " << shape;
        EXPECT_GT(peak, (shape == 3 ? 0.2 : 0.98) * expected) << "shape " << shape;
        int turns = 0;
        for (std::size_t n = 1; n < deviation.size(); ++n) {
            turns += (deviation[n] > 0.0F) != (deviation[n - 1] > 0.0F) ? 1 : 0;
        }
        EXPECT_TRUE(shape > 1 || std::abs(turns - 12) <= 1) << "shape " << shape << ": " << turns;
    }
}

TEST(ChorusTest, DryWetIsExactAtItsEndsAndKeepsTheLevelBetween) {
    const Signal noise = Noise(44000, 0.5F, 1);
    for (const float voices : {1.0F, 3.0F, 4.0F}) {
        for (const float mix : {0.0F, 0.3F, 0.7F, 1.0F}) {
            const auto chorus =
                Make<Chorus>({{Chorus::Voices, voices}, {Chorus::DryWet, mix}, {Chorus::Feedback, 0.3F}});
            const Signal out = Play(*chorus, noise, noise)[0];
            const double change = 20.0 * std::log10(Rms(out, 2000) / Rms(noise, 2000));
            EXPECT_NEAR(change, 0.0, 1.2) << voices << " voices, mix " << mix;
            EXPECT_EQ(out == noise, mix == 0.0F);
            EXPECT_EQ(Peak(Signal(out.begin(), out.begin() + 150)) == 0.0F, mix == 1.0F);
        }
    }
}

TEST(ChorusTest, StereoModesAreMonoWideAndCrossingAndFeedbackDecaysByItsFactor) {
    const Signal noise = Noise(44000, 0.5F, 2);
    const auto likeness = [&](const Settings& settings) {
        const auto chorus = Make<Chorus>({{Chorus::DryWet, 1.0F}, {Chorus::Drift, 1.0F}}, settings);
        const auto out = Play(*chorus, noise, noise);
        return std::inner_product(out[0].begin(), out[0].end(), out[1].begin(), 0.0) /
               (Rms(out[0]) * Rms(out[1])) / static_cast<double>(noise.size());
    };
    for (const float voices : {1.0F, 2.0F, 3.0F, 4.0F}) {
        for (const float shape : {0.0F, 1.0F, 2.0F, 3.0F}) {
            const auto with = [&](u32 id, float value) {
                return likeness({{Chorus::Voices, voices}, {Chorus::LFOShape, shape}, {id, value}});
            };
            EXPECT_NEAR(with(Chorus::StereoMode, 0.0F), 1.0, 1e-9);
            EXPECT_NEAR(with(Chorus::Width, 0.0F), 1.0, 1e-9);
            EXPECT_LT(with(Chorus::StereoMode, 1.0F), 0.5) << voices << " voices, shape " << shape;
        }
    }
    EXPECT_LT(likeness({{Chorus::Depth, 0.0F}, {Chorus::Voices, 1.0F}}), 0.8) << "drift alone";
    const Signal impulse = Impulse(4000);
    const Signal silent(4000, 0.0F);
    for (const auto& [mode, factor, voices] :
         {std::tuple(0.0F, 0.5F, 1.0F), {1.0F, -0.8F, 4.0F}, {2.0F, 0.5F, 4.0F}}) {
        const auto chorus = Make<Chorus>(still, {{Chorus::Delay, 10.0F},
                                                 {Chorus::Feedback, factor},
                                                 {Chorus::Voices, voices},
                                                 {Chorus::StereoMode, mode}});
        const auto out = Play(*chorus, impulse, silent);
        const std::size_t side = mode == 2.0F ? 1 : 0;
        EXPECT_GT(out[0][441], 0.8F / std::sqrt(voices));
        EXPECT_NEAR(out[side][882] / out[0][441], factor, 0.03F) << "mode " << mode;
        EXPECT_NEAR(out[0][1323] / out[0][441], factor * factor, 0.05F) << "mode " << mode;
        EXPECT_LT(std::abs(out[1 - side][882]), 0.05F) << "mode " << mode;
    }
}

TEST(ChorusTest, TheTempoStandsForTheRate) {
    // One bar at 150 beats per minute; without a tempo the rate is free.
    const Signal noise = Noise(4400, 0.5F, 8);
    const Settings synced = {{Chorus::TempoSync, 1.0F}, {Chorus::SyncRate, 5.0F}, {Chorus::Freq, 4.0F}};
    const auto expected = Play(*Make<Chorus>({{Chorus::Freq, 0.625F}}), noise, noise);
    EXPECT_EQ(Play(*Make<Chorus>(synced), noise, noise, {4, 1.0F, 150.0F}), expected);
    for (const float tempo : {0.0F, -1.0F, notANumber, infinity}) {
        const auto lost = Make<Chorus>(synced, {{Chorus::Freq, 0.625F}});
        EXPECT_EQ(Play(*lost, noise, noise, {0, 0.0F, tempo}), expected) << tempo;
    }
}

TEST(ChorusTest, ControlsAreSmoothAndNoneIsIdle) {
    std::vector<Settings> where(Chorus::parameterCount, {{Chorus::DryWet, 1.0F}, {Chorus::Spread, 0.5F}});
    where[Chorus::SyncRate].emplace_back(Chorus::TempoSync, 1.0F);
    where[Chorus::TempoSync].emplace_back(Chorus::Freq, 4.0F);
    ExpectEveryParameterToAct<Chorus>(where);
    ExpectModulationToMove<Chorus>({Chorus::DryWet, Chorus::Depth, Chorus::Freq}, {});
    ExpectNoSteps<Chorus>({{Chorus::Feedback, 0.3F}, {Chorus::Spread, 0.5F}, {Chorus::Drift, 0.5F}}, 0.004F);
}

TEST(ChorusTest, BlocksResetsAndFaultsLeaveNoTrace) {
    ExpectNoTraceOfBlocksResetsAndFaults<Chorus>(
        {{Chorus::Drift, 0.7F},
         {Chorus::LFOShape, 3.0F},
         {Chorus::Feedback, 0.9F},
         {Chorus::StereoMode, 2.0F}},
        {{Chorus::Delay, 25.0F}, {Chorus::Voices, 4.0F}, {Chorus::LFOShape, 1.0F}, {Chorus::DryWet, 0.9F}},
        30.0F);
}
