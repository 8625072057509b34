// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/AlignedBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace Velmora::dsp {
namespace {

TEST(AlignedBufferTest, PoolBuffersAreAlignedSilentAndApart) {
    BlockPool pool;
    for (const u32 frames : {44U, 1U, 61U, 4U, 0U}) { // a pool is set up anew with every initialisation
        pool.Allocate(5, frames);
        for (u32 buffer = 0; buffer < 5; ++buffer) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pool[buffer]) % 16, 0U) << frames << " frames";
            EXPECT_EQ(std::count(pool[buffer], pool[buffer] + frames, 0.0F), frames) << "buffer " << buffer;
            std::fill_n(pool[buffer], RoundUpToFour(frames), static_cast<float>(buffer + 1));
        }
        for (u32 buffer = 0; buffer < 5; ++buffer) {
            EXPECT_EQ(std::count(pool[buffer], pool[buffer] + frames, static_cast<float>(buffer + 1)),
                      frames);
        }
    }
}

TEST(AlignedBufferTest, FramesRoundUpToGroupsOfFour) {
    for (u32 frames = 0; frames < 40; ++frames) {
        const u32 rounded = RoundUpToFour(frames);
        EXPECT_EQ(rounded % 4, 0U);
        EXPECT_GE(rounded, frames);
        EXPECT_LT(rounded, frames + 4);
    }
}

} // namespace
} // namespace Velmora::dsp
