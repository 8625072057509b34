// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/VoiceKiller.h"

#include "vocoder/StageRig.h"

using namespace Velmora::Test;

namespace Velmora::engine {
namespace {

const Signal ones(440, 1.0F);

float StateOf(VoiceKiller& killer) { return killer.FindParameter(VoiceKiller::state)->GetValue(); }

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
        EXPECT_EQ(StateOf(*killer), VoiceKiller::mute);
        EXPECT_EQ(Render(*killer, {ones, ones}, 2), Signals(2, Signal(440, 0.0F)));
    }
}

TEST(VoiceKillerTest, PassesInPlaceUntilAskedAndStartsOverAfterAReset) {
    auto killer = MakeStage<VoiceKiller>();
    for (const bool hard : {true, false}) {
        Signal left(44, 1.0F);
        Signal right = left;
        const float* in[] = {left.data(), right.data()};
        float* out[] = {left.data(), right.data()};
        dsp::ProcessContext context = dsp::ProcessContext().ForChild(in, 2, out, 2);
        context.numFrames = 44;
        dsp::RunChild(*killer, context);
        EXPECT_EQ(left, Signal(44, 1.0F));
        killer->SetParameterValue(VoiceKiller::state, VoiceKiller::fade);
        dsp::RunChild(*killer, context);
        EXPECT_NEAR(left[0], 1.0, 0.01);
        EXPECT_NEAR(left[43], 1.0 - 44.0 / 288.0, 1e-5);
        EXPECT_EQ(right, left);
        killer->Reset(hard);
        EXPECT_EQ(StateOf(*killer), VoiceKiller::pass);
    }
}

TEST(VoiceKillerTest, MonoLeavesTheSecondChannelAlone) {
    auto killer = MakeStage<VoiceKiller>();
    killer->SetParameterValue(VoiceKiller::stereo, 0.0F);
    killer->SetParameterValue(VoiceKiller::state, VoiceKiller::fade);
    const Signals got = Render(*killer, {ones, ones}, 2);
    EXPECT_EQ(got[0].back(), 0.0F);
    EXPECT_EQ(got[1], Signal(440, 12345.0F));
}

} // namespace
} // namespace Velmora::engine
