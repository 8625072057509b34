// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/delay/Delay.h"

#include "rigs/EffectRig.h"

#include <numeric>

namespace {

using namespace orphia::test;
using Velmora::dsp::Delay;
using Velmora::dsp::DelaySettings;

/// The echoes alone, with nothing in the loop but the delay.
const Settings bare = {{Delay::DryWetMode, 1.0F}, {Delay::Mode, DelaySettings::Stereo},
                       {Delay::LowCut, 20.0F},    {Delay::HighCut, 20000.0F},
                       {Delay::Wow, 0.0F},        {Delay::Saturation, 0.0F},
                       {Delay::Feedback, 0.5F}};

std::size_t PlaceOfPeak(const Signal& signal, std::size_t from = 0) {
    const auto louder = [](float a, float b) { return std::abs(a) < std::abs(b); };
    return static_cast<std::size_t>(
        std::max_element(signal.begin() + static_cast<std::ptrdiff_t>(from), signal.end(), louder) -
        signal.begin());
}

std::size_t FirstEcho(const Settings& settings, const Playing& how) {
    const Signal impulse = Impulse(88440);
    const auto delay = Make<Delay>(bare, settings);
    delay->SetParameterValue(Delay::Feedback, 0.0F);
    return PlaceOfPeak(Play(*delay, impulse, impulse, how)[0]);
}

} // namespace

TEST(DelayTest, EchoesComeAtTheirTimeToTheSampleAndDecayByTheFeedback) {
    for (const float rate : {8000.0F, 44100.0F, 192000.0F}) {
        for (const float ms : {20.0F, 250.0F, 2000.0F}) {
            if (rate * ms > 1e8F) {
                continue;
            }
            const auto samples = static_cast<std::size_t>(std::lround(rate * ms * 0.001F));
            const Signal impulse = Impulse((samples * 2 + 44) / 4 * 4);
            const auto out = Play(*Make<Delay>(bare, {{Delay::Time, ms}}, rate), impulse, impulse);
            EXPECT_EQ(PlaceOfPeak(out[0]), samples) << ms << " ms at " << rate;
            EXPECT_NEAR(out[0][samples], 1.0F, 0.005F) << ms << " ms at " << rate;
            EXPECT_NEAR(out[1][2 * samples], 0.5F, 0.02F) << ms << " ms at " << rate;
            EXPECT_EQ(Peak(Signal(out[0].begin(), out[0].begin() + static_cast<long>(samples) - 12)), 0.0F);
        }
    }
}

TEST(DelayTest, EchoesTakeTheSidesThatTheModeAndTheOffsetSay) {
    const Signal impulse = Impulse(13200);
    const Signal silent(13200, 0.0F);
    struct Case {
        u32 mode;
        float offset;
        /// Places and heights of the echoes of an impulse on the right, by side.
        std::vector<std::pair<std::size_t, float>> left;
        std::vector<std::pair<std::size_t, float>> right;
    };
    const float half = std::sqrt(0.5F);
    const Case cases[] = {
        {DelaySettings::Stereo, 0.0F, {}, {{4000, 1.0F}, {8000, 0.5F}, {12000, 0.25F}}},
        {DelaySettings::Stereo, 0.25F, {}, {{3000, 1.0F}, {6000, 0.5F}, {9000, 0.25F}, {12000, 0.125F}}},
        {DelaySettings::PingPong, 0.0F, {{4000, half}, {12000, 0.25F * half}}, {{8000, 0.5F * half}}},
        {DelaySettings::PingPong,
         -0.5F,
         {{2000, half}, {8000, 0.25F * half}},
         {{6000, 0.5F * half}, {12000, 0.125F * half}}},
        {DelaySettings::Cross, 0.25F, {{7000, 0.5F}}, {{3000, 1.0F}, {10000, 0.25F}}}};
    for (const Case& c : cases) {
        const auto delay = Make<Delay>(bare, {{Delay::Time, 4000.0F / 44.1F},
                                              {Delay::Mode, static_cast<float>(c.mode)},
                                              {Delay::Offset, c.offset}});
        auto out = Play(*delay, silent, impulse);
        for (const std::size_t side : {0U, 1U}) {
            for (const auto& [place, height] : side == 0 ? c.left : c.right) {
                EXPECT_NEAR(out[side][place], height, 0.02F * height + 0.001F)
                    << "mode " << c.mode << ", offset " << c.offset << ", side " << side << ", " << place;
                const auto at = out[side].begin() + static_cast<std::ptrdiff_t>(place);
                std::fill(at - 40, at + 41, 0.0F);
            }
            EXPECT_LT(Peak(out[side]), 0.01F) << "mode " << c.mode << ": an echo that nobody asked for";
        }
    }
    const auto middle = Make<Delay>(bare, {{Delay::Mode, DelaySettings::PingPong}, {Delay::Width, 0.0F}});
    const auto both = Play(*middle, silent, impulse);
    EXPECT_EQ(both[0], both[1]);
}

TEST(DelayTest, SyncedTimesAreNoteLengthsHalvedUntilTheyFit) {
    const double quarters[] = {4.0, 3.0,   2.0,       1.5,  4.0 / 3.0, 1.0,       0.75, 2.0 / 3.0,
                               0.5, 0.375, 1.0 / 3.0, 0.25, 0.1875,    1.0 / 6.0, 0.125};
    for (const float tempo : {137.0F, 50.0F}) {
        for (u32 step = 0; step < 15; ++step) {
            double seconds = quarters[step] * 60.0 / static_cast<double>(tempo);
            while (seconds > 2.0) {
                seconds /= 2.0;
            }
            const std::size_t got = FirstEcho(
                {{Delay::TempoSync, 1.0F}, {Delay::SyncRate, static_cast<float>(step)}}, {3, 0.7F, tempo});
            EXPECT_NEAR(static_cast<double>(got), seconds * 44100.0, 0.51) << step << " at " << tempo;
        }
    }
    for (const float tempo : {0.0F, -1.0F, notANumber, infinity}) {
        EXPECT_EQ(FirstEcho({{Delay::TempoSync, 1.0F}, {Delay::Time, 100.0F}}, {0, 0.0F, tempo}), 4410U);
    }
    EXPECT_LE(FirstEcho({{Delay::TempoSync, 1.0F}}, {0, 0.0F, 1e-30F}), 88200U);
}

TEST(DelayTest, EachRepeatPassesTheCutsOnceMore) {
    for (const float rate : {44100.0F, 192000.0F}) {
        const auto period = static_cast<std::size_t>(rate * 0.1F);
        const Signal impulse = Impulse(period * 4);
        const auto delay = Make<Delay>(
            bare, {{Delay::Time, 100.0F}, {Delay::LowCut, 300.0F}, {Delay::HighCut, 3000.0F}}, rate);
        const Signal out = Play(*delay, impulse, impulse)[1];
        for (const double hz : {100.0, 1000.0, 6000.0}) {
            const auto r = static_cast<double>(rate);
            // Analogue sections seen through a bilinear transform that keeps each corner.
            const auto warped = [&](double corner) {
                return std::tan(Velmora::Test::pi * hz / r) / std::tan(Velmora::Test::pi * corner / r);
            };
            const double expected =
                warped(300.0) / std::hypot(1.0, warped(300.0)) / std::hypot(1.0, warped(3000.0));
            for (std::size_t repeat = 1; repeat < 4; ++repeat) {
                const auto from = out.begin() + static_cast<std::ptrdiff_t>(repeat * period - 40);
                const double level =
                    std::abs(Transform(Signal(from, from + static_cast<std::ptrdiff_t>(period) - 40), hz, r));
                const double ideal = std::pow(expected, repeat) * std::pow(0.5, repeat - 1);
                EXPECT_NEAR(20.0 * std::log10(level / ideal), 0.0, 0.1)
                    << hz << " Hz, repeat " << repeat << ", " << rate;
            }
        }
    }
}

TEST(DelayTest, AFullFeedbackHoldsTheSoundAndStaysBounded) {
    Signal burst = Noise(88000, 1.0F, 1);
    std::fill(burst.begin() + 8800, burst.end(), 0.0F);
    const Settings forever = {{Delay::Feedback, 1.0F}, {Delay::Time, 200.0F}};
    const Signal out = Play(*Make<Delay>(bare, forever), burst, burst)[0];
    EXPECT_GT(Rms(out, 79200), 0.5 * Rms(Signal(out.begin() + 8820, out.begin() + 17640)));
    const Signal loud = Noise(88000, 1.0F, 2);
    for (const float mode : {0.0F, 1.0F, 2.0F}) {
        EXPECT_LT(
            Peak(Play(*Make<Delay>(bare, {{Delay::Feedback, 9.0F}, {Delay::Time, 3.0F}, {Delay::Mode, mode}}),
                      loud, loud)[0]),
            8.0F);
    }
    Signal level(88000, 0.5F);
    std::fill(level.begin() + 44000, level.end(), 0.0F);
    const Signal after =
        Play(*Make<Delay>(bare, {{Delay::Feedback, 1.0F}, {Delay::Time, 3.0F}}), level, level)[0];
    const double sum = std::accumulate(after.begin() + 44000, after.end(), 0.0);
    EXPECT_LT(std::abs(sum / 44000.0), 0.01) << "what is fed back loses its DC";
}

TEST(DelayTest, SaturationBendsLoudSoundsAlone) {
    const auto gain = [](float amplitude, float saturation) {
        const Signal tone = Tone(8800, 441.0, 44100.0, static_cast<double>(amplitude));
        const auto delay = Make<Delay>(
            bare, {{Delay::Time, 50.0F}, {Delay::Feedback, 0.0F}, {Delay::Saturation, saturation}});
        return Rms(Play(*delay, tone, tone)[0], 4410) / Rms(tone);
    };
    EXPECT_NEAR(gain(1.5F, 0.0F), 1.0, 0.002);
    EXPECT_NEAR(gain(0.01F, 1.0F), 1.0, 0.001);
    EXPECT_LT(gain(0.5F, 1.0F), 0.7);
}

TEST(DelayTest, WowMovesTheTimeWithinItsDepthAndTheSidesApart) {
    const Signal ramp = SlowRamp(44100 * 3);
    const auto delay =
        Make<Delay>(bare, {{Delay::Time, 100.0F}, {Delay::Feedback, 0.0F}, {Delay::Wow, 1.0F}});
    const auto out = Play(*delay, ramp, ramp);
    for (const Signal& side : out) {
        const Signal way = DelaysOf(side, 0);
        const auto [least, most] = std::minmax_element(way.begin() + 5000, way.end());
        EXPECT_GT(*least, 99.0F);
        EXPECT_LT(*least, 99.5F);
        EXPECT_GT(*most, 100.5F);
        EXPECT_LT(*most, 101.0F);
    }
    EXPECT_NE(out[0], out[1]);
}

TEST(DelayTest, ANewTimeIsReachedByAGlideThatDoesNotPassIt) {
    constexpr std::size_t before = 22000;
    const Signal ramp = SlowRamp(88000);
    const Signal first(ramp.begin(), ramp.begin() + before);
    const Signal rest(ramp.begin() + before, ramp.end());
    for (const auto& [from, to] : {std::pair(150.0F, 400.0F), {400.0F, 150.0F}}) {
        const auto delay = Make<Delay>(bare, {{Delay::Time, from}, {Delay::Feedback, 0.0F}});
        Play(*delay, first, first);
        delay->SetParameterValue(Delay::Time, to);
        const Signal way = DelaysOf(Play(*delay, rest, rest)[0], before);
        EXPECT_NEAR(way[0], from, 0.1F);
        for (std::size_t n = 44; n < way.size(); n += 44) {
            const float step = (way[n] - way[n - 44]) * (to > from ? 1.0F : -1.0F);
            ASSERT_GT(step, -0.002F) << n;
            ASSERT_LT(step, 2.01F) << "in a ms, at " << n;
        }
        EXPECT_NEAR(way[36000], to, 0.02F);
    }
}

TEST(DelayTest, DryWetIsExactAtItsEndsAndAStartKeepsTheLevel) {
    const Signal noise = Noise(88000, 0.5F, 3);
    EXPECT_EQ(Play(*Make<Delay>({{Delay::DryWet, 0.0F}}), noise, noise)[0], noise);
    EXPECT_EQ(Play(*Make<Delay>({{Delay::DryWet, 1.0F}}), noise, noise),
              Play(*Make<Delay>({{Delay::DryWet, 0.2F}, {Delay::DryWetMode, 1.0F}}), noise, noise));
    const auto start = Play(*Make<Delay>({}), noise, noise);
    for (const Signal& side : start) {
        EXPECT_NEAR(20.0 * std::log10(Rms(side, 44000) / Rms(noise, 44000)), 0.0, 1.5);
    }
}

TEST(DelayTest, ControlsAreSmoothAndNoneIsIdle) {
    const Settings far = {{Delay::DryWet, 1.0F}, {Delay::Time, 100.0F}};
    std::vector<Settings> where(Delay::parameterCount, far);
    where[Delay::DryWetMode] = {{Delay::DryWet, 0.0F}, {Delay::Time, 100.0F}};
    where[Delay::SyncRate].emplace_back(Delay::TempoSync, 1.0F);
    ExpectEveryParameterToAct<Delay>(where);
    ExpectModulationToMove<Delay>({Delay::DryWet, Delay::Time, Delay::Offset, Delay::LowCut, Delay::HighCut,
                                   Delay::Wow, Delay::Saturation, Delay::Feedback},
                                  far);
    // A glide plays three times as fast; with feedback, what it recorded would be sped up once more.
    ExpectNoSteps<Delay>({{Delay::DryWet, 0.5F}, {Delay::Time, 100.0F}, {Delay::Feedback, 0.0F}}, 0.0085F);
}

TEST(DelayTest, BlocksResetsAndFaultsLeaveNoTrace) {
    ExpectNoTraceOfBlocksResetsAndFaults<Delay>(
        {{Delay::DryWet, 0.6F}, {Delay::Time, 20.0F}, {Delay::Wow, 3.0F}, {Delay::Feedback, 0.9F}},
        {{Delay::Time, 60.0F}, {Delay::Mode, 2.0F}, {Delay::HighCut, 900.0F}, {Delay::Width, 0.2F}}, 10.0F);
}
