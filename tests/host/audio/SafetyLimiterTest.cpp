// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/audio/SafetyLimiter.h"

#include "host/audio/LoudnessMeter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

namespace orphia::host {

namespace {

constexpr double pi = std::numbers::pi;
using Channel = std::vector<float>;

/// By a library's reconstruction.
double TruePeak(const Channel& sound, std::uint32_t rate) {
    LoudnessMeter meter(rate);
    for (const float sample : sound) {
        meter.Add(std::array{sample, 0.0F});
    }
    return meter.TruePeak();
}

const struct {
    const char* name;
    double level;
    double (*wave)(double seconds);
} cases[] = {
    {"below the ceiling", 0.85, [](double t) { return std::sin(2 * pi * 440 * t); }},
    {"swelling tone", 3.0, [](double t) { return std::sin(2 * pi * 1000 * t) * std::sin(5 * t); }},
    {"peaks between samples", 1.2, [](double t) { return std::sin(2 * pi * 11025 * t + pi / 4); }},
    {"clicks", 8.0, [](double t) { return std::fmod(t, 0.05) < 1e-5 ? 1.0 : 0.0; }},
    {"bursts", 4.0,
     [](double t) {
         return std::fmod(t, 0.1) < 0.05 ? std::sin(2 * pi * 20 * t) * std::sin(2 * pi * 300 * t) : 0.0;
     }},
};

/// The right channel is half the left one.
std::pair<Channel, Channel> Limit(SafetyLimiter& limiter, const Channel& left, std::uint32_t block) {
    Channel sides[2] = {left, left};
    std::for_each(sides[1].begin(), sides[1].end(), [](float& x) { x *= 0.5F; });
    for (std::uint32_t n = 0; n < left.size(); n += block) {
        float* at[2] = {sides[0].data() + n, sides[1].data() + n};
        limiter.Process(at, std::min(block, static_cast<std::uint32_t>(left.size()) - n));
    }
    return {sides[0], sides[1]};
}

TEST(SafetyLimiter, HoldsTheTruePeakChangesNoBitBelowItAndKnowsNoBlocks) {
    for (const std::uint32_t rate : {44100U, 96000U}) {
        SafetyLimiter limiter(rate);
        for (const auto& [name, level, wave] : cases) {
            SCOPED_TRACE(name);
            limiter.Reset();
            Channel sound(rate / 5);
            for (std::size_t n = 0; n < sound.size(); ++n) {
                sound[n] = static_cast<float>(level * wave(static_cast<double>(n) / rate));
            }
            const auto [left, right] = Limit(limiter, sound, 44);
            const double wanted = 20.0 * std::log10(std::max(TruePeak(sound, rate) / 0.8810489, 1.0));
            EXPECT_LE(20.0 * std::log10(TruePeak(left, rate)), -1.0);
            EXPECT_NEAR(limiter.TakeReduction(), wanted, 0.15);
            EXPECT_EQ(limiter.TakeReduction(), 0.0F);
            for (std::size_t n = limiter.LatencyFrames(); n < sound.size(); ++n) {
                const float dry = sound[n - limiter.LatencyFrames()];
                ASSERT_TRUE(wanted == 0.0 ? left[n] == dry : std::abs(left[n]) <= std::abs(dry)) << n;
                ASSERT_NEAR(right[n], 0.5F * left[n], 1e-6) << "one gain for both at " << n;
            }
            limiter.Reset();
            EXPECT_EQ(Limit(limiter, sound, 4096).first, left);
        }
        // A click out of silence, wherever in a block it is.
        for (std::size_t at = 0; at < 100; ++at) {
            Channel click(1024);
            click[at] = 3.0F;
            limiter.Reset();
            const Channel left = Limit(limiter, click, 64).first;
            EXPECT_LE(*std::max_element(left.begin(), left.end()), 1.0001F * limiter.ceiling) << at;
        }
        limiter.Reset();
        // A loud start, a fault, then two seconds of quiet sound: equal to the bit in the end.
        Channel sound(rate / 10, 3.0F);
        sound[100] = NAN;
        sound.resize(2 * rate + rate / 10, 0.25F);
        const Channel left = Limit(limiter, sound, 64).first;
        EXPECT_EQ(left.back(), 0.25F);
        EXPECT_TRUE(std::all_of(left.begin(), left.end(), [](float x) { return std::isfinite(x); }));
        EXPECT_LT(left[rate / 10 + rate / 50 + limiter.LatencyFrames()], 0.2499F)
            << "20 ms behind the loud part";
    }
}

} // namespace

} // namespace orphia::host
