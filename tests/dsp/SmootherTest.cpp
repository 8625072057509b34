// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/SmootherInterpLPF.h"
#include "dsp/SmootherLPF.h"
#include "dsp/SmootherSRL.h"
#include "reference/AllocationCounter.h"

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

TEST(SmootherSRLTest, RampsAreStraightTakeTheirTimeAndDoNotOvershoot) {
    for (const Move& move : Moves()) {
        SmootherSRL smoother = Ramp(move);
        const double ticks = move.Ticks();
        // Every tick rounds once, by half a unit in the last place of the largest number passed.
        const double tolerance =
            6e-8 * (ticks + 2) *
            std::max(std::abs(static_cast<double>(move.from)), std::abs(static_cast<double>(move.to)));
        float previous = move.from;
        const int last = static_cast<int>(std::ceil(ticks)) + 1;
        for (int n = 1; n <= last + 3; ++n) {
            const float value = smoother.Next();
            const double expected =
                static_cast<double>(move.from) + move.Distance() * std::min(1.0, n / ticks);
            ASSERT_NEAR(value, expected, tolerance) << move.Describe() << ", tick " << n;
            if (move.to > move.from) {
                ASSERT_TRUE(value >= previous && value <= move.to) << move.Describe() << ", tick " << n;
            } else {
                ASSERT_TRUE(value <= previous && value >= move.to) << move.Describe() << ", tick " << n;
            }
            previous = value;
            if (n >= last) {
                ASSERT_EQ(value, move.to) << move.Describe() << ", tick " << n;
            }
        }
    }
}

TEST(SmootherSRLTest, ARetargetedRampTakesItsFullTimeFromWhereItIs) {
    SmootherSRL smoother = Ramp({0.0F, 8.0F, 1.0F, 64.0F, 4}); // 16 ticks of 0.5
    for (int n = 0; n < 4; ++n) {
        smoother.Next();
    }
    EXPECT_EQ(smoother.current, 2.0F);
    smoother.Retarget(1.0F);
    EXPECT_EQ(smoother.span, 1.0F);
    for (int n = 1; n <= 16; ++n) {
        EXPECT_EQ(smoother.Next(), 2.0F - static_cast<float>(n) / 16.0F);
    }
    EXPECT_TRUE(smoother.IsAtTarget());
    smoother.sampleRate = 128.0F;
    smoother.Prepare();
    EXPECT_EQ(smoother.step, 1.0F / 32.0F);
    smoother.Retarget(1.0F);
    EXPECT_EQ(smoother.step, 0.0F) << "no way to go, no step";
    EXPECT_EQ(smoother.Next(), 1.0F);
    smoother.Prepare();
    EXPECT_EQ(smoother.step, 0.0F);
}

TEST(SmootherSRLTest, TheBlockFormIsTheTickForm) {
    for (const Move& move : {Move{0.0F, 1.0F, 1.0F, 512.0F, 1}, Move{3.0F, -5.0F, 1.0F, 256.0F, 1},
                             Move{-1.0F, 2.0F, 0.375F, 1024.0F, 2}}) {
        // Steps that are powers of two add up exactly, so both forms must agree in every bit.
        SmootherSRL ticking = Ramp(move);
        SmootherSRL blocks = Ramp(move);
        const auto rendered = InBlocks(blocks, 700, 1);
        for (std::size_t n = 0; n < rendered.size(); ++n) {
            ASSERT_EQ(rendered[n], ticking.Next()) << move.Describe() << ", tick " << n;
        }
        EXPECT_EQ(blocks.current, move.to);
    }
    for (const Move& move : Moves()) {
        SmootherSRL ticking = Ramp(move);
        SmootherSRL blocks = Ramp(move);
        const double largest =
            std::max(std::abs(static_cast<double>(move.from)), std::abs(static_cast<double>(move.to)));
        const auto count = static_cast<u32>(move.Ticks()) + 8;
        const auto rendered = InBlocks(blocks, count, 1);
        for (std::size_t n = 0; n < rendered.size(); ++n) {
            ASSERT_NEAR(rendered[n], ticking.Next(), 1.2e-7 * static_cast<double>(count) * largest)
                << move.Describe() << ", tick " << n;
        }
        EXPECT_EQ(rendered.back(), move.to) << move.Describe();
    }
}

TEST(SmootherLPFTest, FollowsTheExponentialAndIsWithinSevenThousandthsInTime) {
    for (const Move& move : Moves()) {
        auto smoother = Approach<SmootherLPF>(move);
        const double ticks = move.Ticks();
        const int last = static_cast<int>(std::ceil(ticks));
        for (int n = 1; n <= last; ++n) {
            const double expected =
                static_cast<double>(move.to) - move.Distance() * std::exp(-5.0 * n / ticks);
            const auto value = static_cast<double>(smoother.Next());
            ASSERT_NEAR(value, expected, 1e-6 * std::max(std::abs(expected), std::abs(move.Distance())))
                << move.Describe() << ", tick " << n;
        }
        EXPECT_LT(std::abs(smoother.current - smoother.target), 0.007 * std::abs(move.Distance()))
            << move.Describe();
    }
}

TEST(SmootherLPFTest, ReachesEveryTargetExactlyAndNotTooEarly) {
    for (Move move : Moves()) {
        for (const float to : {move.to, 0.0F, -1e-6F, 1e6F}) {
            move.to = to;
            auto ticking = Approach<SmootherLPF>(move);
            auto blocks = Approach<SmootherLPF>(move);
            // A target of 0 has an absolute threshold; 12 times `time` is 60 time constants.
            const auto whole = static_cast<u32>(12.0 * move.Ticks()) / 4 * 4 + 4;
            const u32 early = static_cast<u32>(2.0 * move.Ticks()) / 4 * 4;
            for (u32 n = 0; n < whole; ++n) {
                ticking.Next();
                ASSERT_TRUE(n >= early || move.Distance() == 0.0 || !ticking.IsAtTarget())
                    << move.Describe() << " cut at tick " << n;
            }
            InBlocks(blocks, early, 4);
            EXPECT_TRUE(move.Distance() == 0.0 || !blocks.IsAtTarget()) << move.Describe();
            const auto rendered = InBlocks(blocks, whole - early, 4);
            EXPECT_EQ(ticking.current, static_cast<double>(to)) << move.Describe();
            EXPECT_EQ(blocks.current, static_cast<double>(to)) << move.Describe() << " in blocks";
            EXPECT_EQ(rendered.back(), to);
        }
    }
}

TEST(SmootherLPFTest, TheBlockFormIsTheTickForm) {
    for (const Move& move : Moves()) {
        auto ticking = Approach<SmootherLPF>(move);
        auto blocks = Approach<SmootherLPF>(move);
        const auto count = static_cast<u32>(7.0 * move.Ticks()) / 4 * 4 + 400;
        const auto rendered = InBlocks(blocks, count, 4);
        for (std::size_t n = 0; n < rendered.size(); ++n) {
            const float expected = ticking.Next();
            const double scale = std::max(std::abs(static_cast<double>(expected)), std::abs(move.Distance()));
            ASSERT_NEAR(rendered[n], expected, 1e-6 * scale) << move.Describe() << ", tick " << n;
        }
        EXPECT_NEAR(blocks.current, ticking.current, 1e-12 * std::abs(move.Distance())) << move.Describe();
    }
    // The state keeps double precision between blocks.
    const Move move = {0.0F, 1.0F, 0.1F, 48000.0F, 1};
    auto ticking = Approach<SmootherLPF>(move);
    auto blocks = Approach<SmootherLPF>(move);
    InBlocks(blocks, 2000, 4);
    for (int n = 0; n < 2000; ++n) {
        ticking.Next();
    }
    EXPECT_NEAR(blocks.current, ticking.current, 1e-12);
}

TEST(SmootherLPFTest, TheTailIsCutAtTheThresholdInBothForms) {
    const Move move = {0.0F, 1.0F, 0.01F, 1000.0F, 1}; // ten ticks, a decay of exp(-0.5) each
    for (const double epsilon :
         {0.9 * std::exp(-3.0) * (1 - std::exp(-0.5)), 1.1 * std::exp(-3.0) * (1 - std::exp(-0.5))}) {
        // The step behind tick 6 is just above or just below the threshold.
        const bool stepsOnce = epsilon < std::exp(-3.0) * (1 - std::exp(-0.5));
        auto ticking = Approach<SmootherLPF>(move);
        auto blocks = Approach<SmootherLPF>(move);
        ticking.epsilon = blocks.epsilon = epsilon;
        const auto rendered = InBlocks(blocks, 12, 4);
        for (std::size_t n = 0; n < 12; ++n) {
            const float expected = ticking.Next();
            EXPECT_FLOAT_EQ(rendered[n], expected) << "tick " << n;
            EXPECT_EQ(expected == 1.0F, n >= (stepsOnce ? 7U : 6U)) << "tick " << n;
        }
    }
}

TEST(SmootherLPFTest, ANewTargetSetsTheThresholdAndThePresentOneChangesNothing) {
    SmootherLPF smoother(0.1);
    EXPECT_EQ(smoother.epsilon, 1e-12);
    smoother.SetTarget(0.0F);
    EXPECT_EQ(smoother.epsilon, 1e-12) << "the start target is 0";
    smoother.SetTarget(-2000.0F);
    EXPECT_DOUBLE_EQ(smoother.epsilon, 2e-9);
    smoother.epsilon = 0.5;
    smoother.SetTarget(-2000.0F);
    EXPECT_EQ(smoother.epsilon, 0.5);
    smoother.SetTarget(1e-20F);
    EXPECT_EQ(smoother.epsilon, 1e-20);
    smoother.Set(3.0F);
    EXPECT_EQ(smoother.epsilon, 1e-20) << "a jump has no tail";
    EXPECT_TRUE(smoother.IsAtTarget());
    smoother.Reset(1.0F, 2.0F);
    EXPECT_EQ(smoother.current, 1.0);
    EXPECT_EQ(smoother.target, 2.0);
}

TEST(SmootherLPFTest, OneDecimatedTickIsAsManySampleTicks) {
    auto perSample = Approach<SmootherLPF>({0.0F, 1.0F, 0.02F, 48000.0F, 1});
    auto perBlock = Approach<SmootherLPF>({0.0F, 1.0F, 0.02F, 48000.0F, 44});
    for (int block = 0; block < 20; ++block) {
        for (int n = 0; n < 44; ++n) {
            perSample.Next();
        }
        perBlock.Next();
        ASSERT_NEAR(perBlock.current, perSample.current, 1e-12) << "block " << block;
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

TEST(SmootherInterpLPFTest, FollowsTheResponseOfAnExponentialToARamp) {
    for (const auto& [from, to] : {std::pair(0.0F, 1.0F), std::pair(5.0F, -3.0F)}) {
        SmootherInterpLPF smoother = InterpApproach(from, to);
        const double start = from;
        const double slope = (static_cast<double>(to) - start) / 20.0;
        const double d = std::exp(-0.1);
        const auto onRamp = [&](int n) { return start + slope * (n - d / (1 - d) * (1 - std::pow(d, n))); };
        for (int n = 1; n <= 100; ++n) {
            const double expected =
                n <= 20 ? onRamp(n) : static_cast<double>(to) + (onRamp(20) - to) * std::pow(d, n - 20);
            ASSERT_NEAR(smoother.Next(), expected, 1e-6 * std::abs(20.0 * slope)) << "tick " << n;
            ASSERT_NEAR(smoother.interpValue, start + slope * std::min(n, 20), 1e-12) << "tick " << n;
            ASSERT_EQ(smoother.interpValue == static_cast<double>(to), n >= 20) << "tick " << n;
        }
        for (int n = 0; n < 400; ++n) {
            smoother.Next();
        }
        EXPECT_EQ(smoother.current, static_cast<double>(to)) << "reached exactly";
    }
}

TEST(SmootherInterpLPFTest, ARetargetedRampStartsWhereTheRampIs) {
    SmootherInterpLPF smoother = InterpApproach(0.0F, 1.0F);
    for (int n = 0; n < 8; ++n) {
        smoother.Next();
    }
    smoother.SetTarget(-1.0F);
    EXPECT_DOUBLE_EQ(smoother.epsilon, 1e-12);
    double previous = smoother.interpValue;
    EXPECT_NEAR(previous, 0.4, 1e-12);
    for (int n = 0; n < 20; ++n) {
        smoother.Next();
        EXPECT_NEAR(smoother.interpValue - previous, -1.4 / 20, 1e-12) << "tick " << n;
        previous = smoother.interpValue;
    }
    EXPECT_EQ(smoother.interpValue, -1.0);
    smoother.epsilon = 0.25;
    smoother.SetTarget(-1.0F);
    EXPECT_EQ(smoother.epsilon, 0.25) << "the present target changes nothing";
    EXPECT_EQ(smoother.interpCounter, 19U);

    smoother.SetTarget(1.0F);
    smoother.Next();
    smoother.SetTarget(1.0F);
    EXPECT_EQ(smoother.interpCounter, 0U) << "a target that the ramp has not reached starts it again";
    EXPECT_NEAR(smoother.interpIncrement, 1.9 / 20, 1e-12);
}

TEST(SmootherInterpLPFTest, AJumpLeavesNoRampPendingAndAResetToAnotherTargetStartsOne) {
    SmootherInterpLPF smoother = InterpApproach(0.0F, 1.0F);
    smoother.Next();
    smoother.Set(7.0F);
    EXPECT_EQ(smoother.interpCounter, 19U);
    EXPECT_EQ(smoother.interpIncrement, 0.0);
    for (int n = 0; n < 30; ++n) {
        ASSERT_EQ(smoother.Next(), 7.0F) << "tick " << n;
    }
    smoother.SetTarget(9.0F);
    smoother.Next();
    smoother.Reset(2.0F, 2.0F);
    for (int n = 0; n < 30; ++n) {
        ASSERT_EQ(smoother.Next(), 2.0F) << "tick " << n;
    }
    smoother.Reset(0.0F, 4.0F);
    EXPECT_DOUBLE_EQ(smoother.epsilon, 4e-12);
    SmootherInterpLPF fresh = InterpApproach(0.0F, 4.0F);
    for (int n = 0; n < 300; ++n) {
        ASSERT_EQ(smoother.Next(), fresh.Next()) << "tick " << n;
    }
}

TEST(SmootherInterpLPFTest, TheBlockFormIsTheTickForm) {
    SmootherInterpLPF ticking = InterpApproach(-2.0F, 3.0F);
    SmootherInterpLPF blocks = InterpApproach(-2.0F, 3.0F);
    const auto rendered = InBlocks(blocks, 600, 1);
    for (std::size_t n = 0; n < rendered.size(); ++n) {
        ASSERT_EQ(rendered[n], ticking.Next()) << "tick " << n;
    }
}

TEST(SmootherInterpLPFTest, WithoutARampItIsThePlainExponential) {
    for (const u32 steps : {0U, 1U}) {
        SmootherInterpLPF smoother = InterpApproach(0.0F, 0.0F);
        smoother.SetInterpSteps(steps);
        smoother.Set(1.0F);
        smoother.SetTarget(-2.0F);
        auto plain = Approach<SmootherLPF>({1.0F, -2.0F, 0.05F, 1000.0F, 1});
        plain.time = 0.05;
        plain.Prepare();
        for (int n = 0; n < 500; ++n) {
            ASSERT_EQ(smoother.Next(), plain.Next()) << steps << " steps, tick " << n;
        }
    }
}

TEST(SmootherTest, NothingAllocates) {
    SmootherSRL ramp = Ramp(Moves()[0]);
    auto approach = Approach<SmootherLPF>(Moves()[0]);
    SmootherInterpLPF both = InterpApproach(0.0F, 1.0F);
    float out[64];
    const orphia_reference::AllocationCounter counter;
    ramp.Retarget(0.5F);
    ramp.RenderBlock(out, 64);
    approach.SetTarget(2.0F);
    approach.RenderBlock(out, 64);
    both.Reset(0.0F, 3.0F);
    both.RenderBlock(out, 64);
    EXPECT_EQ(counter.Count(), 0U);
}

} // namespace
} // namespace Velmora::dsp
