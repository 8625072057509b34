// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/smoothing/ControlGroups.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/smoothing/SmootherSRL.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace Velmora::dsp {
namespace {

struct Move {
    float from, to, seconds, rate;
    u32 decimation;

    /// Ticks that fit in `seconds`.
    double Ticks() const { return static_cast<double>(seconds) * static_cast<double>(rate) / decimation; }
    /// The place after a part of the way.
    double At(double part) const {
        return std::lerp(static_cast<double>(from), static_cast<double>(to), part);
    }
};
constexpr Move moves[] = {{0.0F, 1.0F, 0.01F, 44100.0F, 1},    {1.0F, 0.0F, 0.01F, 48000.0F, 1},
                          {-3.0F, 5.0F, 0.002F, 192000.0F, 1}, {20.0F, -20000.0F, 0.5F, 48000.0F, 44},
                          {1e-6F, 3e-6F, 0.05F, 96000.0F, 64}, {1000.0F, 1001.0F, 0.02F, 48000.0F, 4},
                          {0.5F, -1e-6F, 0.1F, 22050.0F, 16}};

SmootherSRL Ramp(const Move& move) {
    SmootherSRL smoother;
    smoother.time = move.seconds;
    smoother.sampleRate = move.rate;
    smoother.decimation = move.decimation;
    smoother.Set(move.from);
    smoother.Retarget(move.to);
    return smoother;
}

template <class S>
S Approach(const Move& move, u32 rampTicks = 0) {
    S smoother;
    smoother.time = static_cast<double>(move.seconds);
    smoother.Prepare(move.rate, move.decimation);
    if constexpr (requires { smoother.interpSteps; }) {
        smoother.SetInterpSteps(rampTicks);
    }
    smoother.Set(move.from);
    smoother.SetTarget(move.to);
    return smoother;
}

/// Both forms of a smoother follow expected(tick, from 1) within a part of the way, and then stand at the
/// target.
template <class S, class Expected>
void ExpectFollows(S ticking, u32 count, u32 unit, const Move& move, double tolerance, Expected expected) {
    SCOPED_TRACE(std::to_string(move.from) + " to " + std::to_string(move.to));
    S blocks = ticking;
    std::vector<float> rendered(count);
    constexpr u32 lengths[] = {1, 11, 0, 3, 64, 2};
    for (u32 done = 0, block = 0; done < count; ++block) {
        const u32 length = std::min(lengths[block % 6] * unit, count - done);
        blocks.RenderBlock(rendered.data() + done, length);
        done += length;
    }
    const auto [low, high] = std::minmax(move.from, move.to);
    for (u32 n = 1; n <= count; ++n) {
        for (const float value : {ticking.Next(), rendered[n - 1]}) {
            ASSERT_NEAR(value, expected(n),
                        tolerance * std::max(std::abs(move.At(0.0)), std::abs(move.At(1.0))))
                << n;
            ASSERT_TRUE(value >= low && value <= high) << n;
        }
    }
    for (const S& smoother : {ticking, blocks}) {
        EXPECT_EQ(static_cast<float>(smoother.current), move.to) << "reached exactly";
        EXPECT_TRUE(smoother.IsAtTarget());
    }
}

TEST(SmootherTest, ARampIsStraightAndTakesItsTimeFromWhereItIs) {
    for (const Move& move : moves) {
        const double ticks = move.Ticks();
        const auto expected = [&](u32 n) { return move.At(std::min(1.0, n / ticks)); };
        // Every tick rounds once.
        ExpectFollows(Ramp(move), static_cast<u32>(ticks) + 3, 1, move, 6e-8 * (ticks + 2), expected);
    }
    SmootherSRL smoother = Ramp({0.0F, 8.0F, 1.0F, 64.0F, 4}); // 16 ticks of 0.5
    for (int n = 0; n < 4; ++n) {
        smoother.Next();
    }
    smoother.Retarget(1.0F);
    const Move rest{2.0F, 1.0F, 1.0F, 64.0F, 4};
    ExpectFollows(smoother, 20, 1, rest, 0.0, [&](u32 n) { return rest.At(std::min(1.0, n / 16.0)); });
}

TEST(SmootherTest, AnApproachIsExponentialWithFiveTimeConstantsInItsTime) {
    for (const Move& move : moves) {
        // 60 time constants reach any target but 0, which has an absolute threshold.
        const u32 count = static_cast<u32>(12.0 * move.Ticks()) / 4 * 4 + 4;
        const auto expected = [&](u32 n) { return move.At(-std::expm1(-5.0 * n / move.Ticks())); };
        ExpectFollows(Approach<SmootherLPF>(move), count, 4, move, 1e-6, expected);
        ExpectFollows(Approach<SmootherInterpLPF>(move, 1), count, 1, move, 1e-6, expected);
    }
}

TEST(SmootherTest, AnApproachToARampBeginsAnewFromWhereTheRampIs) {
    constexpr u32 ramp = 20;
    const double d = std::exp(-0.1); // ten ticks of this are one time constant
    const auto part = [&](u32 n) { return (n - d / (1 - d) * (1 - std::pow(d, n))) / ramp; };
    const Move move{5.0F, -3.0F, 0.05F, 1000.0F, 1};
    const auto expected = [&](u32 n) {
        return move.At(n <= ramp ? part(n) : 1.0 - (1.0 - part(ramp)) * std::pow(d, n - ramp));
    };
    ExpectFollows(Approach<SmootherInterpLPF>(move, ramp), 500, 1, move, 1e-6, expected);
    auto smoother = Approach<SmootherInterpLPF>(move, ramp);
    for (int n = 0; n < 8; ++n) {
        smoother.Next();
    }
    smoother.SetTarget(2.2F); // from 1.8
    for (int n = 1; n <= 20; ++n) {
        smoother.Next();
        EXPECT_NEAR(smoother.interpValue, 1.8 + 0.4 * n / 20, 1e-6) << n;
    }
    smoother.SetTarget(9.0F);
    smoother.Set(7.0F);
    EXPECT_EQ(smoother.Next() + smoother.Next(), 14.0F) << "none pending";
    smoother.SetTarget(9.0F);
    smoother.Reset(2.0F, 2.0F);
    EXPECT_EQ(smoother.Next() + smoother.Next(), 4.0F) << "none pending";
    smoother.Reset(5.0F, -3.0F);
    ExpectFollows(smoother, 500, 1, move, 1e-6, expected);
}

TEST(SmootherTest, LanesGlideByQuadsInTheTimeOfTheirGroupAndArriveExactly) {
    ControlGroups<2, 1> groups;
    groups.Prepare(48000.0F, 0.01, 0.1);
    const simd::Float4 target{1.0F, -2.0F, 0.0F, 1000.0F};
    groups[0].Aim(target);
    groups[1].Aim(target);
    for (int quad = 1; quad <= 120; ++quad) {
        groups.Step();
        for (u32 group = 0; group < 2; ++group) {
            const double arrived = -std::expm1(-4.0 * quad / (group == 0 ? 480.0 : 4800.0));
            EXPECT_NEAR(groups[group].value[1], -2.0 * arrived, 1e-5);
            const double before = -std::expm1(-4.0 * (quad - 1) / (group == 0 ? 480.0 : 4800.0));
            EXPECT_NEAR(groups[group].Over<true>(1).get(1), -before - arrived, 1e-5) << "half of the quad";
            EXPECT_EQ(groups[group].Over<true>(3).get(3), groups[group].value[3]);
        }
        EXPECT_TRUE(groups.IsMoving());
    }
    for (int quad = 0; quad < 30000; ++quad) {
        groups.Step();
    }
    EXPECT_FALSE(groups.IsMoving());
    EXPECT_TRUE(xsimd::all(groups[1].Value() == target));
    groups[0].Aim(simd::Float4(5.0F));
    groups.Jump();
    EXPECT_FALSE(groups.IsMoving());
    EXPECT_EQ(groups[0].Over<false>(2).get(0), 5.0F);
}

} // namespace
} // namespace Velmora::dsp
