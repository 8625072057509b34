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

TEST(DelayTest, AFullFeedbackHoldsTheSoundAndLosesItsDc) {
    Signal burst = Noise(88000, 1.0F, 1);
    std::fill(burst.begin() + 8800, burst.end(), 0.0F);
    const Signal out =
        Play(*Make<Delay>(bare, {{Delay::Feedback, 1.0F}, {Delay::Time, 200.0F}}), burst, burst)[0];
    EXPECT_GT(Rms(out, 79200), 0.5 * Rms(burst) * std::sqrt(10.0));
    Signal level(88000, 0.5F);
    std::fill(level.begin() + 44000, level.end(), 0.0F);
    const Signal after =
        Play(*Make<Delay>(bare, {{Delay::Feedback, 1.0F}, {Delay::Time, 3.0F}}), level, level)[0];
    EXPECT_LT(std::abs(std::accumulate(after.begin() + 44000, after.end(), 0.0) / 44000.0), 0.01);
}

/// Full saturation has its ceiling 12 dB below full scale; above 6 dB the tape itself bends towards 12 dB.
TEST(DelayTest, LoudSoundsAreBentByTheSaturationAndHeldByTheTape) {
    for (const double height : {0.01, 0.5, 1.9, 6.0, 100.0}) {
        for (const double saturation : {0.0, 0.3, 1.0}) {
            const Signal impulse = Impulse(4400, static_cast<float>(height));
            const auto delay = Make<Delay>(bare, {{Delay::Time, 2205.0F / 44.1F},
                                                  {Delay::Feedback, 0.0F},
                                                  {Delay::Saturation, static_cast<float>(saturation)}});
            const double bent = height / std::hypot(1.0, 4.0 * saturation * height);
            const double over = std::max(bent / 2.0 - 1.0, 0.0);
            const double expected = std::min(bent, 2.0) + 2.0 * over / (1.0 + over);
            EXPECT_NEAR(static_cast<double>(Play(*delay, impulse, impulse)[0][2205]) / expected, 1.0, 0.01)
                << height << ", saturation " << saturation;
        }
    }
}

TEST(DelayTest, WowAndFlutterMoveTheTimeWithinTheirDepthAndTheSidesApart) {
    const Signal ramp = SlowRamp(44100 * 4);
    const auto delay =
        Make<Delay>(bare, {{Delay::Time, 100.0F}, {Delay::Feedback, 0.0F}, {Delay::Wow, 1.0F}});
    const auto out = Play(*delay, ramp, ramp);
    for (const Signal& side : out) {
        const Signal way = DelaysOf(side, 0);
        const auto [least, most] = std::minmax_element(way.begin() + 5000, way.end());
        EXPECT_GT(*least, 99.0F);
        EXPECT_LT(*most, 101.0F);
        // The flutter is a tenth of the regular share of 65 %, at eight times the 0.8 Hz of the wow.
        constexpr std::size_t cycles = 165375;
        Signal piece(way.end() - cycles, way.end());
        for (std::size_t n = 0; n < cycles; ++n) {
            const double turn = 2.0 * Velmora::Test::pi * static_cast<double>(n) / cycles;
            piece[n] = (piece[n] - 100.0F) * static_cast<float>(1.0 - std::cos(turn));
        }
        EXPECT_NEAR(std::abs(Transform(piece, 6.4, 44100.0)) * 2.0 / cycles, 0.065, 0.002);
    }
    EXPECT_NE(out[0], out[1]);
}
