// SPDX-License-Identifier: GPL-3.0-or-later
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
    float from;
    float to;
    float seconds;
    float rate;
    u32 decimation;

    /// Ticks that fit in `seconds`.
    double Ticks() const {
        return static_cast<double>(seconds) * static_cast<double>(rate) / static_cast<double>(decimation);
    }
    double Distance() const { return static_cast<double>(to) - static_cast<double>(from); }
    std::string Describe() const {
        return std::to_string(from) + " to " + std::to_string(to) + " in " + std::to_string(seconds) +
               " s at " + std::to_string(rate) + " Hz by " + std::to_string(decimation);
    }
};

const std::vector<Move>& Moves() {
    static const std::vector<Move> moves = {
        {0.0F, 1.0F, 0.01F, 44100.0F, 1},      {1.0F, 0.0F, 0.01F, 48000.0F, 1},
        {-3.0F, 5.0F, 0.002F, 192000.0F, 1},   {20.0F, -20000.0F, 0.5F, 48000.0F, 44},
        {0.5F, 0.25F, 0.1F, 22050.0F, 16},     {1e-6F, 3e-6F, 0.05F, 96000.0F, 64},
        {1000.0F, 1001.0F, 0.02F, 48000.0F, 4}};
    return moves;
}

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
S Approach(const Move& move) {
    S smoother;
    smoother.time = static_cast<double>(move.seconds);
    smoother.Prepare(move.rate, move.decimation);
    smoother.Set(move.from);
    smoother.SetTarget(move.to);
    return smoother;
}

/// Renders `count` ticks in blocks of irregular length, all of them multiples of `unit`.
template <class S>
std::vector<float> InBlocks(S& smoother, u32 count, u32 unit) {
    static constexpr std::array<u32, 6> lengths = {1, 11, 0, 3, 64, 2};
    std::vector<float> out(count);
    u32 done = 0;
    for (u32 block = 0; done < count; ++block) {
        const u32 length = std::min(lengths[block % lengths.size()] * unit, count - done);
        smoother.RenderBlock(out.data() + done, length);
        done += length;
    }
    return out;
}

TEST(SmootherSRLTest, BothFormsRampStraightInTheirTimeAndDoNotOvershoot) {
    for (const Move& move : Moves()) {
        SmootherSRL ticking = Ramp(move);
        SmootherSRL blocks = Ramp(move);
        const double ticks = move.Ticks();
        const auto last = static_cast<u32>(std::ceil(ticks)) + 1;
        const auto rendered = InBlocks(blocks, last + 8, 1);
        const auto [low, high] = std::minmax(move.from, move.to);
        // Every tick rounds once, by half a unit in the last place of the largest number passed.
        const double tolerance =
            6e-8 * (ticks + 2) * static_cast<double>(std::max(std::abs(low), std::abs(high)));
        float previous = move.from;
        for (u32 n = 1; n <= rendered.size(); ++n) {
            const double expected =
                static_cast<double>(move.from) + move.Distance() * std::min(1.0, n / ticks);
            const float value = ticking.Next();
            ASSERT_TRUE((value - previous) * (move.to - move.from) >= 0.0F)
                << move.Describe() << ", tick " << n;
            ASSERT_EQ(value, n >= last ? move.to : value) << move.Describe() << ", tick " << n;
            previous = value;
            for (const float form : {value, rendered[n - 1]}) {
                ASSERT_NEAR(form, expected, tolerance) << move.Describe() << ", tick " << n;
                ASSERT_TRUE(form >= low && form <= high) << move.Describe() << ", tick " << n;
            }
        }
        EXPECT_EQ(rendered.back(), move.to) << move.Describe();
    }
}

TEST(SmootherSRLTest, ARetargetedRampTakesItsFullTimeFromWhereItIs) {
    SmootherSRL smoother = Ramp({0.0F, 8.0F, 1.0F, 64.0F, 4}); // 16 ticks of 0.5
    for (int n = 0; n < 4; ++n) {
        smoother.Next();
    }
    smoother.Retarget(1.0F);
    for (int n = 1; n <= 16; ++n) {
        EXPECT_EQ(smoother.Next(), 2.0F - static_cast<float>(n) / 16.0F);
    }
    EXPECT_TRUE(smoother.IsAtTarget());
    smoother.Retarget(1.0F);
    EXPECT_EQ(smoother.Next(), 1.0F) << "no way to go, no step";
}

TEST(SmootherLPFTest, BothFormsFollowTheExponentialAndReachTheTargetExactly) {
    for (Move move : Moves()) {
        for (const float to : {move.to, 0.0F, -1e-6F, 1e6F}) {
            move.to = to;
            auto ticking = Approach<SmootherLPF>(move);
            auto blocks = Approach<SmootherLPF>(move);
            // A target of 0 has an absolute threshold; 12 times `time` is 60 time constants.
            const auto rendered = InBlocks(blocks, static_cast<u32>(12.0 * move.Ticks()) / 4 * 4 + 4, 4);
            for (std::size_t n = 0; n < rendered.size(); ++n) {
                const double rest =
                    move.Distance() * std::exp(-5.0 * static_cast<double>(n + 1) / move.Ticks());
                const double expected = static_cast<double>(to) - rest;
                const double tolerance = 1e-6 * std::max(std::abs(expected), std::abs(move.Distance()));
                ASSERT_NEAR(ticking.Next(), expected, tolerance) << move.Describe() << ", tick " << n;
                ASSERT_NEAR(rendered[n], expected, tolerance) << move.Describe() << ", in blocks, tick " << n;
            }
            EXPECT_EQ(ticking.current, static_cast<double>(to)) << move.Describe();
            EXPECT_EQ(blocks.current, static_cast<double>(to)) << move.Describe() << " in blocks";
            EXPECT_EQ(rendered.back(), to);
        }
    }
}

/// A linear ramp of 20 ticks, then the exponential; ten ticks of it make one time constant.
SmootherInterpLPF InterpApproach(float from, float to) {
    SmootherInterpLPF smoother;
    smoother.time = 0.05;
    smoother.Prepare(1000.0F, 1);
    smoother.SetInterpSteps(20);
    smoother.Set(from);
    smoother.SetTarget(to);
    return smoother;
}

TEST(SmootherInterpLPFTest, BothFormsFollowTheResponseOfAnExponentialToARamp) {
    for (const auto& [from, to] : {std::pair(0.0F, 1.0F), std::pair(5.0F, -3.0F)}) {
        SmootherInterpLPF smoother = InterpApproach(from, to);
        SmootherInterpLPF blocks = smoother;
        const auto rendered = InBlocks(blocks, 500, 1);
        const double start = from;
        const double slope = (static_cast<double>(to) - start) / 20.0;
        const double d = std::exp(-0.1);
        const auto onRamp = [&](int n) { return start + slope * (n - d / (1 - d) * (1 - std::pow(d, n))); };
        for (int n = 1; n <= 500; ++n) {
            const double expected =
                n <= 20 ? onRamp(n) : static_cast<double>(to) + (onRamp(20) - to) * std::pow(d, n - 20);
            const float value = smoother.Next();
            ASSERT_NEAR(value, expected, 1e-6 * std::abs(20.0 * slope)) << "tick " << n;
            ASSERT_EQ(rendered[static_cast<std::size_t>(n) - 1], value) << "tick " << n;
        }
        EXPECT_EQ(smoother.current, static_cast<double>(to)) << "reached exactly";
    }
}

TEST(SmootherInterpLPFTest, ARetargetedRampStartsWhereTheRampIsAndAResetLeavesNonePending) {
    SmootherInterpLPF smoother = InterpApproach(0.0F, 1.0F);
    for (int n = 0; n < 8; ++n) {
        smoother.Next();
    }
    smoother.SetTarget(-1.0F);
    for (int n = 1; n <= 20; ++n) {
        smoother.Next();
        EXPECT_NEAR(smoother.interpValue, 0.4 - 1.4 * n / 20, 1e-12) << "tick " << n;
    }
    smoother.SetTarget(9.0F);
    smoother.Set(7.0F);
    EXPECT_EQ(InBlocks(smoother, 30, 1), std::vector<float>(30, 7.0F));
    smoother.SetTarget(9.0F);
    smoother.Next();
    smoother.Reset(2.0F, 2.0F);
    EXPECT_EQ(InBlocks(smoother, 30, 1), std::vector<float>(30, 2.0F));
    smoother.Reset(0.0F, 4.0F);
    SmootherInterpLPF fresh = InterpApproach(0.0F, 4.0F);
    EXPECT_EQ(InBlocks(smoother, 300, 1), InBlocks(fresh, 300, 1));
}

TEST(SmootherInterpLPFTest, WithoutARampItIsThePlainExponential) {
    for (const u32 steps : {0U, 1U}) {
        SmootherInterpLPF smoother = InterpApproach(0.0F, 0.0F);
        smoother.SetInterpSteps(steps);
        smoother.Set(1.0F);
        smoother.SetTarget(-2.0F);
        for (int n = 1; n <= 500; ++n) {
            ASSERT_NEAR(smoother.Next(), 3.0 * std::exp(-0.1 * n) - 2.0, 1e-6)
                << steps << " steps, tick " << n;
        }
    }
}

} // namespace
} // namespace Velmora::dsp
