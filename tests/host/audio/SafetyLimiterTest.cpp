// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/audio/SafetyLimiter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

namespace orphia::host {

namespace {

constexpr double pi = std::numbers::pi;
using Channel = std::vector<float>;

/// By a reconstruction twice as fine and four times as long as the limiter's own.
double TruePeak(const Channel& sound) {
    constexpr int reach = 32;
    constexpr int places = 8;
    double peak = 0.0;
    for (int place = 0; place < places; ++place) {
        double taps[2 * reach];
        for (int k = 0; k < 2 * reach; ++k) {
            const double x = pi * (static_cast<double>(place) / places - (k - reach + 1));
            taps[k] = (x == 0.0 ? 1.0 : std::sin(x) / x) * (0.5 + 0.5 * std::cos(x / reach));
        }
        for (std::size_t n = 0; n + 2 * reach <= sound.size(); ++n) {
            double sum = 0.0;
            for (int k = 0; k < 2 * reach; ++k) {
                sum += taps[k] * static_cast<double>(sound[n + static_cast<std::size_t>(k)]);
            }
            peak = std::max(peak, std::abs(sum));
        }
    }
    return peak;
}

struct Case {
    const char* name;
    double level;
    std::function<double(double seconds)> wave;
};

const Case cases[] = {
    {"below the ceiling", 0.85, [](double t) { return std::sin(2 * pi * 440 * t); }},
    {"swelling tone", 3.0, [](double t) { return std::sin(2 * pi * 1000 * t) * std::sin(5 * t); }},
    {"peaks between samples", 1.2, [](double t) { return std::sin(2 * pi * 11025 * t + pi / 4); }},
    {"clicks", 8.0, [](double t) { return std::fmod(t, 0.05) < 1e-5 ? 1.0 : 0.0; }},
    {"bursts", 4.0,
     [](double t) {
         return std::fmod(t, 0.1) < 0.05 ? std::sin(2 * pi * 20 * t) * std::sin(2 * pi * 300 * t) : 0.0;
     }},
};

class SafetyLimiterAt : public testing::TestWithParam<std::uint32_t> {
protected:
    const std::uint32_t rate = GetParam();
    SafetyLimiter limiter{rate};

    Channel Make(const Case& given) const {
        Channel channel(rate * 2 / 5);
        for (std::size_t n = 0; n < channel.size(); ++n) {
            channel[n] = static_cast<float>(given.level * given.wave(static_cast<double>(n) / rate));
        }
        return channel;
    }
    /// The right channel is half the left one.
    std::pair<Channel, Channel> Limit(const Channel& left, std::uint32_t block) {
        Channel sides[2] = {left, left};
        std::for_each(sides[1].begin(), sides[1].end(), [](float& x) { x *= 0.5F; });
        for (std::uint32_t n = 0; n < left.size(); n += block) {
            float* at[2] = {sides[0].data() + n, sides[1].data() + n};
            limiter.Process(at, std::min(block, static_cast<std::uint32_t>(left.size()) - n));
        }
        return {sides[0], sides[1]};
    }
};

TEST_P(SafetyLimiterAt, HoldsTheTruePeakAndIsSilentWorkBelowIt) {
    for (const Case& given : cases) {
        SCOPED_TRACE(given.name);
        limiter.Reset();
        const Channel sound = Make(given);
        const auto [left, right] = Limit(sound, 44);
        const double wanted = 20.0 * std::log10(std::max(TruePeak(sound) / 0.8810489, 1.0));
        EXPECT_LE(20.0 * std::log10(TruePeak(left)), -1.0);
        EXPECT_NEAR(limiter.TakeReduction(), wanted, 0.15);
        EXPECT_EQ(limiter.TakeReduction(), 0.0F);
        for (std::size_t n = limiter.LatencyFrames(); n < sound.size(); ++n) {
            const float dry = sound[n - limiter.LatencyFrames()];
            ASSERT_LE(std::abs(left[n]), std::abs(dry)) << n;
            ASSERT_NEAR(right[n], 0.5F * left[n], 1e-6) << "one gain for both at " << n;
            if (wanted == 0.0) {
                ASSERT_EQ(left[n], dry) << n;
            }
        }
    }
}

TEST_P(SafetyLimiterAt, ComesBackToUnityAndKnowsNoBlocks) {
    Channel sound = Make(cases[1]);
    const auto whole = Limit(sound, 4096);
    limiter.Reset();
    EXPECT_EQ(Limit(sound, 7), whole);
    // A loud start, a fault, then two seconds of quiet sound: equal to the bit in the end.
    limiter.Reset();
    sound.resize(rate / 10);
    sound[100] = NAN;
    sound.resize(2 * rate + rate / 10, 0.25F);
    const auto [left, right] = Limit(sound, 64);
    EXPECT_EQ(left.back(), 0.25F);
    EXPECT_TRUE(std::all_of(left.begin(), left.end(), [](float x) { return std::isfinite(x); }));
    // 20 ms after the loud part some of the attenuation is still there.
    EXPECT_LT(left[rate / 10 + rate / 50 + limiter.LatencyFrames()], 0.2499F);
}

INSTANTIATE_TEST_SUITE_P(Rates, SafetyLimiterAt, testing::Values(44100U, 48000U, 96000U));

} // namespace

} // namespace orphia::host
