// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/lfo/SweepLfo.h"

#include <gtest/gtest.h>

#include <tuple>

namespace Velmora::dsp {
namespace {

/// What a square's jump takes to 63 % of its way, in milliseconds; and where it ends, half a cycle later.
struct Jump {
    double milliseconds = 0.0;
    float end = 0.0F;
};

Jump JumpWithGlide(float glideMs, float rate) {
    SweepLfo lfo;
    lfo.Prepare(rate);
    lfo.Set({.shape = SweepLfoSettings::Square, .rateHz = 0.5F, .glideMs = glideMs});
    lfo.Reset();
    const int halfCycle = static_cast<int>(rate / 4.0F);
    for (int quad = 0; quad < halfCycle - 2; ++quad) {
        lfo.Advance();
    }
    EXPECT_EQ(lfo.Value().get(0), 1.0F) << "the first value is no jump";
    Jump jump;
    for (int quad = 0; quad < halfCycle - 4; ++quad) {
        jump.milliseconds += lfo.Value().get(0) > -0.264F ? 4000.0 / static_cast<double>(rate) : 0.0;
        lfo.Advance();
    }
    jump.end = lfo.Value().get(0);
    return jump;
}

// A filter's corner that jumps from one sample to the next clicks.
TEST(SweepLfo, AJumpTakesItsGlideAndNeverLessThanAMillisecond) {
    for (const float rate : {44100.0F, 192000.0F}) {
        for (const auto& [glide, least, most] :
             {std::tuple{0.0F, 1.0, 2.0}, {20.0F, 19.5, 20.5}, {100.0F, 99.0, 101.0}}) {
            const Jump jump = JumpWithGlide(glide, rate);
            EXPECT_GE(jump.milliseconds, least) << glide << " ms at " << rate;
            EXPECT_LE(jump.milliseconds, most) << glide << " ms at " << rate;
            EXPECT_NEAR(jump.end, -1.0F, 1e-3F) << glide << " ms at " << rate;
        }
    }
}

} // namespace
} // namespace Velmora::dsp
