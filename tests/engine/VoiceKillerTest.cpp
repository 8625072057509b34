// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/VoiceKiller.h"

#include "vocoder/StageRig.h"

using namespace Velmora::Test;

namespace Velmora::engine {
namespace {

const Signal ones(440, 1.0F);

TEST(VoiceKillerTest, FadesInSixMillisecondsAndStaysSilent) {
    for (const double rate : {44100.0, 48000.0}) {
        auto killer = MakeStage<VoiceKiller>(rate);
        killer->SetParameterValue(VoiceKiller::state, VoiceKiller::fade);
        Signals got = Render(*killer, {Signal(44, 1.0F), Signal(44, -2.0F)}, 2);
        // Neither a second request nor another parameter starts over.
        killer->SetParameterValue(VoiceKiller::stereo, 0.0F);
        killer->SetParameterValue(VoiceKiller::stereo, 1.0F);
        killer->SetParameterValue(VoiceKiller::state, VoiceKiller::fade);
        const Signals rest = Render(*killer, {ones, Signal(440, -2.0F)}, 2, {4, 0, 44});
        for (u32 channel = 0; channel < 2; ++channel) {
            got[channel].insert(got[channel].end(), rest[channel].begin(), rest[channel].end());
            for (std::size_t n = 0; n < got[channel].size(); ++n) {
                const double gain = std::max(1.0 - static_cast<double>(n + 1) / (0.006 * rate), 0.0);
                ASSERT_NEAR(got[channel][n], gain * (channel == 0 ? 1.0 : -2.0), 1e-5) << "frame " << n;
            }
        }
        EXPECT_EQ(Render(*killer, {ones, ones}, 2), Signals(2, Signal(440, 0.0F)));
        killer->Reset(rate < 48000.0);
        EXPECT_EQ(killer->FindParameter(VoiceKiller::state)->GetValue(), VoiceKiller::pass);
    }
}

} // namespace
} // namespace Velmora::engine
