// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/smoothing/SmootherLPF.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Velmora::dsp {
namespace {

struct Move {
    float from, to, seconds, rate;
    u32 decimation;

    /// Ticks that fit in `seconds`.
    double Ticks() const { return static_cast<double>(seconds) * static_cast<double>(rate) / decimation; }
};
constexpr Move moves[] = {{0.0F, 1.0F, 0.01F, 44100.0F, 1},
                          {-3.0F, 5.0F, 0.002F, 192000.0F, 1},
                          {20.0F, -20000.0F, 0.5F, 48000.0F, 44},
                          {1e-6F, 3e-6F, 0.05F, 96000.0F, 64},
                          {0.5F, -1e-6F, 0.1F, 22050.0F, 16}};

/// Both forms of a smoother are part(tick, from 1) of the way on, and then stand at the target.
template <class S, class Part>
void ExpectFollows(S ticking, u32 count, u32 unit, const Move& move, double tolerance, Part part) {
    S blocks = ticking;
    std::vector<float> rendered(count);
    constexpr u32 lengths[] = {1, 11, 0, 3, 64, 2};
    for (u32 done = 0, block = 0; done < count; ++block) {
        const u32 length = std::min(lengths[block % 6] * unit, count - done);
        blocks.RenderBlock(rendered.data() + done, length);
        done += length;
    }
    const double scale = static_cast<double>(std::max(std::abs(move.from), std::abs(move.to)));
    for (u32 n = 1; n <= count; ++n) {
        const double expected =
            std::lerp(static_cast<double>(move.from), static_cast<double>(move.to), part(n));
        ASSERT_NEAR(ticking.Next(), expected, tolerance * scale) << move.to << ", tick " << n;
        ASSERT_NEAR(rendered[n - 1], expected, tolerance * scale) << move.to << ", tick " << n;
    }
    EXPECT_TRUE(ticking.IsAtTarget() && blocks.IsAtTarget()) << move.to;
}

TEST(SmootherTest, AnApproachIsExponentialWithFiveTimeConstantsInItsTimeAlsoTowardsARamp) {
    for (const Move& move : moves) {
        // 60 time constants reach any target but 0, which has an absolute threshold.
        const u32 count = static_cast<u32>(12.0 * move.Ticks()) / 4 * 4 + 4;
        SmootherLPF plain(static_cast<double>(move.seconds));
        SmootherInterpLPF ramped;
        ramped.time = plain.time;
        plain.Prepare(move.rate, move.decimation);
        ramped.Prepare(move.rate, move.decimation);
        plain.Set(move.from);
        plain.SetTarget(move.to);
        ExpectFollows(plain, count, 4, move, 1e-6,
                      [&](u32 n) { return -std::expm1(-5.0 * n / move.Ticks()); });
        const double d = std::exp(-5.0 / move.Ticks());
        constexpr u32 ramp = 20;
        ramped.SetInterpSteps(ramp);
        for (const bool isReset : {false, true}) {
            ramped.Set(isReset ? 9.0F : move.from);
            isReset ? ramped.Reset(move.from, move.to) : ramped.SetTarget(move.to);
            const auto part = [&](u32 n) { return (n - d / (1 - d) * (1 - std::pow(d, n))) / ramp; };
            ExpectFollows(ramped, count + ramp, 1, move, 1e-6, [&](u32 n) {
                return n <= ramp ? part(n) : 1.0 - (1.0 - part(ramp)) * std::pow(d, n - ramp);
            });
        }
    }
}

} // namespace
} // namespace Velmora::dsp
