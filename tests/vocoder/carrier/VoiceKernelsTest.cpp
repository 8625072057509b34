// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/kernels/VoiceKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

namespace orphia::test {
namespace {

using Velmora::u32;
using Velmora::u64;
using Velmora::Processor::LowPassLanes;
using Velmora::Processor::VoiceKernels;

constexpr u32 mostFrames = 200;

struct alignas(64) Samples : std::array<float, VoiceKernels::PaddedFrames(mostFrames)> {};

/// Everything that the kernels read and write, with numbers of a seed.
struct Voices {
    std::mt19937 random;
    u32 frames;
    u32 count;
    /// Half of it room in front of the last inputs.
    std::array<float, 16> history;
    float* Past() { return history.data() + 8; }
    std::array<Samples, LowPassLanes::width> channels;
    Samples gains;
    Samples sum;
    LowPassLanes lanes{};

    explicit Voices(u32 seed)
        : random(seed), frames(4 * Below(mostFrames / 4 + 1)), count(1 + Below(LowPassLanes::width)) {
        Fill(history, -1.0F, 1.0F);
        Fill(gains, 0.25F, 4.0F);
        Fill(sum, -1.0F, 1.0F);
        for (Samples& samples : channels) {
            Fill(samples, -1.0F, 1.0F);
        }
        Fill(lanes.a1, 0.1F, 0.9F);
        Fill(lanes.a2, 0.0F, 0.3F);
        Fill(lanes.a3, 0.0F, 0.3F);
        Fill(lanes.z1, -1.0F, 1.0F);
        Fill(lanes.z2, -1.0F, 1.0F);
    }

    u32 Below(u32 limit) { return static_cast<u32>(random() % limit); }
    template <class Range>
    void Fill(Range& range, float low, float high) {
        std::generate(std::begin(range), std::end(range),
                      [&] { return std::uniform_real_distribution<float>(low, high)(random); });
    }

    void Run(const VoiceKernels& kernels) {
        // Slow ones, and some above a quarter of the rate, where both sides of the wrap reach a frame.
        const double increment = 0.45 * std::exp2(-0.5 * Below(24));
        const auto step = static_cast<u64>(increment * 0x1p63) * 2;
        kernels.renderSaw({(u64{Below(~0U)} << 32U) + 7, step, static_cast<float>(increment)}, Past(),
                          channels[0].data(), frames);
        kernels.postFilter(Past(), channels[0].data(), frames);
        std::array<float*, LowPassLanes::width> pointers;
        std::transform(channels.begin(), channels.end(), pointers.begin(),
                       [](Samples& s) { return s.data(); });
        kernels.lowPass(lanes, pointers.data(), count, frames);
        kernels.drive(channels[0].data(), gains[0], frames);
        kernels.driveMoving(channels[count - 1].data(), gains.data(), frames);
        kernels.add(channels[0].data(), gains[1], gains[2], sum.data(), frames);
        kernels.addDriven(channels[0].data(), gains[3], gains[4], gains[5], sum.data(), frames);
    }

    void ExpectSameAs(const Voices& other) const {
        const auto expectSame = [](const float* a, const float* b, u32 size, const char* what) {
            EXPECT_EQ(std::memcmp(a, b, size * sizeof(float)), 0) << what;
        };
        expectSame(history.data() + 8, other.history.data() + 8, 8, "history");
        // Nothing is written behind the block.
        expectSame(sum.data(), other.sum.data(), VoiceKernels::PaddedFrames(mostFrames), "sum");
        expectSame(lanes.z1, other.lanes.z1, count, "first state");
        expectSame(lanes.z2, other.lanes.z2, count, "second state");
        for (u32 i = 0; i < channels.size(); ++i) {
            expectSame(channels[i].data(), other.channels[i].data(), frames, "samples");
        }
    }
};

TEST(VoiceKernels, AllSetsGiveTheSameBitsForAnyNumberOfVoicesAndFrames) {
    const auto sets = Velmora::Processor::AvailableVoiceKernels();
    for (u32 seed = 0; seed < 400 && !testing::Test::HasFailure(); ++seed) {
        Voices expected(seed);
        expected.Run(*sets[0]);
        for (std::size_t i = 1; i < sets.size(); ++i) {
            SCOPED_TRACE(std::string(sets[i]->name) + ", seed " + std::to_string(seed));
            Voices voices(seed);
            voices.Run(*sets[i]);
            voices.ExpectSameAs(expected);
        }
    }
}

} // namespace
} // namespace orphia::test
