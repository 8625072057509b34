// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/VoiceKiller.h"

#include "rigs/ModuleRig.h"

namespace {

using namespace orphia::test;
using Velmora::engine::VoiceKiller;

TEST(VoiceKiller, FadesStraightWithinSixMillisecondsAndThenMutesUntilItIsToldToPass) {
    for (const double rate : {44100.0, 96000.0}) {
        VoiceKiller killer;
        killer.Initialize(static_cast<float>(rate), 64);
        killer.Reset(true);
        const Signal sound(640, 0.5F);
        const auto run = [&] { return Render(killer, {&sound, &sound}, 2, BlockSplit::Random(64, 20, 1)); };
        for (u32 fade = 0; fade < 2; ++fade) {
            EXPECT_EQ(run()[0][0], 12345.0F) << "left alone";
            killer.StartFade();
            EXPECT_TRUE(killer.IsFading());
            const auto out = run();
            for (std::size_t n = 0; n < sound.size(); ++n) {
                const double gain = std::max(1.0 - static_cast<double>(n + 1) / (0.006 * rate), 0.0);
                ASSERT_NEAR(out[0][n], 0.5 * gain, 1e-5) << rate << ' ' << n;
                ASSERT_EQ(out[1][n], out[0][n]);
            }
            EXPECT_EQ(killer.IsMuted(), rate == 44100.0 || fade == 1 || Peak(out[0], 639) == 0.0F);
            EXPECT_EQ(Peak(run()[0]), 0.0F);
            fade == 0 ? killer.LetPass() : killer.Reset(false);
            EXPECT_FALSE(killer.IsMuted() || killer.IsFading());
        }
        killer.SetParameterValue(VoiceKiller::Stereo, 0.0F);
        killer.StartFade();
        EXPECT_EQ(run()[1][0], 12345.0F) << "one channel";
    }
}

} // namespace
