// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/SawLowPass.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace orphia::test {
namespace {

using Velmora::u32;
using Velmora::Processor::SawLowPass;

constexpr u32 frames = 44;

struct alignas(16) Row {
    std::array<float, frames> samples{};
};

/// Filters with cutoffs of their own, and a block of noise for each.
struct Bank {
    std::vector<SawLowPass> filters;
    std::vector<Row> rows;

    explicit Bank(u32 count) : filters(count), rows(count) {
        std::mt19937 engine(7);
        std::uniform_real_distribution<float> noise(-1.0F, 1.0F);
        for (u32 i = 0; i < count; ++i) {
            filters[i].Prepare(44100.0F);
            filters[i].SetCutoff(200.0F * static_cast<float>(1 + 3 * i));
            for (float& x : rows[i].samples) {
                x = noise(engine);
            }
        }
    }
    void Run(u32 first, u32 count) {
        std::vector<SawLowPass::Job> jobs;
        for (u32 i = first; i < first + count; ++i) {
            jobs.push_back({&filters[i], rows[i].samples.data()});
        }
        SawLowPass::Run(jobs, frames);
    }
};

TEST(SawLowPass, SoundsTheSameBitForBitInEveryCompany) {
    for (u32 count = 0; count <= SawLowPass::mostJobs; ++count) {
        Bank together(count);
        Bank alone(count);
        for (u32 block = 0; block < 3; ++block) {
            together.Run(0, count);
            for (u32 i = 0; i < count; ++i) {
                alone.Run(i, 1);
                ASSERT_EQ(together.rows[i].samples, alone.rows[i].samples) << i << " of " << count;
            }
        }
    }
}

TEST(SawLowPass, PassesASteadyLevelAndDampsWhatLiesAboveTheCutoff) {
    Bank bank(1);
    for (u32 block = 0; block < 100; ++block) {
        bank.rows[0].samples.fill(0.5F);
        bank.Run(0, 1);
    }
    EXPECT_NEAR(bank.rows[0].samples.back(), 0.5F, 1e-5F);
    // Two poles: -12 dB an octave, and more where the warped axis ends.
    for (u32 block = 0; block < 100; ++block) {
        for (u32 n = 0; n < frames; ++n) {
            bank.rows[0].samples[n] = n % 4 < 2 ? 1.0F : -1.0F;
        }
        bank.Run(0, 1);
    }
    EXPECT_LT(std::abs(bank.rows[0].samples.back()), 1e-3F);
}

TEST(SawLowPass, BrokenSampleSpoilsOneBlockOfOneVoice) {
    Bank bank(5);
    Bank sound(5);
    bank.rows[1].samples[3] = std::numeric_limits<float>::quiet_NaN();
    bank.Run(0, 5);
    sound.Run(0, 5);
    for (const u32 i : {0U, 2U, 3U, 4U}) {
        EXPECT_EQ(bank.rows[i].samples, sound.rows[i].samples) << i;
    }
    bank.rows[1].samples.fill(0.25F);
    bank.Run(1, 1);
    EXPECT_TRUE(std::isfinite(bank.rows[1].samples.back()));
}

} // namespace
} // namespace orphia::test
