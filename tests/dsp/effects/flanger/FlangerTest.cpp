// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/flanger/Flanger.h"

#include "rigs/EffectRig.h"

#include <numeric>

namespace {

using namespace orphia::test;
using Velmora::dsp::Flanger;
using Velmora::dsp::FlangerSettings;

/// One side like the other, without feedback.
const Settings plain = {{Flanger::StereoPhase, 0.0F}, {Flanger::Feedback, 0.0F}, {Flanger::Delay, 3.0F}};
const Settings still = {{Flanger::StereoPhase, 0.0F}, {Flanger::Depth, 0.0F}};

/// The delay of the wet sound in ms over 2 s.
Signal Way(const Settings& settings, u32 side = 0) {
    const Signal ramp = SlowRamp(88200);
    const auto flanger = Make<Flanger>(plain, {{Flanger::DryWetMode, 1.0F}});
    Set(*flanger, settings);
    return DelaysOf(Play(*flanger, ramp, ramp)[side], 0);
}

} // namespace

TEST(FlangerTest, ThroughZeroDelaysTheDrySoundByTheDelayAndCancelsItAtTheCrossing) {
    const Signal impulse = Impulse(880);
    const Settings late = {{Flanger::ThroughZero, 1.0F}, {Flanger::Delay, 10.0F}, {Flanger::DryWet, 0.0F}};
    const Signal delayed = Play(*Make<Flanger>(still, late), impulse, impulse)[0];
    EXPECT_NEAR(delayed[441], 1.0F, 0.01F);
    EXPECT_EQ(Peak({delayed.begin(), delayed.begin() + 430}), 0.0F);
    const Settings against = {{Flanger::ThroughZero, 1.0F}, {Flanger::Invert, 1.0F}};
    const Signal noise = Noise(8800, 0.5F, 1);
    const auto opposed = Make<Flanger>(plain, against);
    opposed->SetParameterValue(Flanger::Depth, 0.0F);
    EXPECT_LT(Peak(Play(*opposed, noise, noise)[1]), 1e-6F) << "both at one place";
}

TEST(FlangerTest, TheSwingHasItsMiddleDepthRateShapeAndPhase) {
    constexpr std::ptrdiff_t start = 500;
    constexpr std::ptrdiff_t cycle = 22050;
    const Settings swing = {{Flanger::Delay, 4.0F}, {Flanger::Depth, 1.0F}, {Flanger::Freq, 2.0F}};
    for (u32 shape = 0; shape < 4; ++shape) {
        Settings settings = swing;
        settings.emplace_back(Flanger::LFOShape, static_cast<float>(shape));
        const Signal way = Way(settings);
        const auto [least, most] = std::minmax_element(way.begin() + start, way.end());
        const float slack = shape == FlangerSettings::Random ? 0.9F : 0.01F;
        EXPECT_NEAR(*least, 3.0F, slack) << shape;
        EXPECT_NEAR(*most, 5.0F, slack) << shape;
        if (shape != FlangerSettings::Random) {
            const auto from = way.begin() + cycle;
            const double mean = std::accumulate(from, from + cycle, 0.0) / cycle;
            // The even shape is longer at the short delays: the mean of 2 u^2 - 1 over 0..1 is -1/3.
            EXPECT_NEAR(mean, shape == FlangerSettings::Even ? 4.0 - 1.0 / 3.0 : 4.0, 0.01) << shape;
        }
        settings.insert(settings.end(), {{Flanger::StereoPhase, 90.0F}, {Flanger::Manual, 1.5F}});
        const Signal ahead = Way(settings, 1);
        for (std::size_t n = 500; n + cycle / 4 < way.size(); n += 100) {
            ASSERT_NEAR(ahead[n] - 1.5F, way[n + cycle / 4], 0.01F) << "shape " << shape << ", frame " << n;
        }
    }
}
