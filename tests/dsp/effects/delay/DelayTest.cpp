// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/delay/Delay.h"

#include "rigs/EffectRig.h"

#include <array>

namespace {

using namespace orphia::test;
using Velmora::dsp::Delay;
using Velmora::dsp::DelaySettings;

/// The echoes alone, with nothing in the loop but the delay.
const Settings bare = {{Delay::DryWetMode, 1.0F}, {Delay::Mode, DelaySettings::Stereo},
                       {Delay::LowCut, 20.0F},    {Delay::HighCut, 20000.0F},
                       {Delay::Wow, 0.0F},        {Delay::Saturation, 0.0F},
                       {Delay::Feedback, 0.5F}};

std::size_t FirstEcho(const Settings& settings, const Playing& how) {
    const Signal impulse = Impulse(88440);
    const auto delay = Make<Delay>(bare, settings);
    delay->SetParameterValue(Delay::Feedback, 0.0F);
    const Signal out = Play(*delay, impulse, impulse, how)[0];
    return static_cast<std::size_t>(std::max_element(out.begin(), out.end()) - out.begin());
}

} // namespace

TEST(DelayTest, EchoesTakeTheSidesThatTheModeAndTheOffsetSay) {
    const Signal impulse = Impulse(13200);
    const Signal silent(13200, 0.0F);
    struct Case {
        u32 mode;
        float offset;
        /// Places and heights of the echoes of an impulse on the right, by side.
        std::array<std::vector<std::pair<std::size_t, float>>, 2> sides;
    };
    const float half = std::sqrt(0.5F);
    const Case cases[] = {
        {DelaySettings::Stereo, 0.0F, {{{}, {{4000, 1.0F}, {8000, 0.5F}, {12000, 0.25F}}}}},
        {DelaySettings::Stereo, 0.25F, {{{}, {{3000, 1.0F}, {6000, 0.5F}, {9000, 0.25F}, {12000, 0.125F}}}}},
        {DelaySettings::PingPong, 0.0F, {{{{4000, half}, {12000, 0.25F * half}}, {{8000, 0.5F * half}}}}},
        {DelaySettings::PingPong,
         -0.5F,
         {{{{2000, half}, {8000, 0.25F * half}}, {{6000, 0.5F * half}, {12000, 0.125F * half}}}}},
        {DelaySettings::Cross, 0.25F, {{{{7000, 0.5F}}, {{3000, 1.0F}, {10000, 0.25F}}}}}};
    for (const Case& c : cases) {
        const auto delay = Make<Delay>(bare, {{Delay::Time, 4000.0F / 44.1F},
                                              {Delay::Mode, static_cast<float>(c.mode)},
                                              {Delay::Offset, c.offset}});
        auto out = Play(*delay, silent, impulse);
        for (const std::size_t side : {0U, 1U}) {
            for (const auto& [place, height] : c.sides[side]) {
                EXPECT_NEAR(out[side][place], height, 0.02F * height + 0.001F) << &c - cases << ", " << place;
                const auto at = out[side].begin() + static_cast<std::ptrdiff_t>(place);
                std::fill(at - 40, at + 41, 0.0F);
            }
            EXPECT_LT(Peak(out[side]), 0.01F) << &c - cases << ": an echo that nobody asked for";
        }
    }
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
    EXPECT_EQ(FirstEcho({{Delay::TempoSync, 1.0F}, {Delay::Time, 100.0F}}, {0, 0.0F, notANumber}), 4410U);
    EXPECT_LE(FirstEcho({{Delay::TempoSync, 1.0F}}, {0, 0.0F, 1e-30F}), 88200U);
}
