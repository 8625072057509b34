// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/HFChannel.h"

#include "StageRig.h"

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

namespace {

constexpr float gated = 0.0F;
constexpr float open = 1.0F;
/// Small enough for the gate's amplifier to be linear.
constexpr double quiet = 1e-3;
/// The amplifier's drive, then the open gate's factor and the level of the stage.
const double gateGain = -470.0 / (8740.2 + 30470.0) * 10.438414 * 3.20171e-4 * 39000.0;

std::unique_ptr<HFChannel> MakeChannel(float mode, float level = 1.0F, double sampleRate = 48000.0) {
    auto channel = MakeStage<HFChannel>(sampleRate);
    channel->SetParameterValue(HFChannel::HFMode, mode);
    channel->SetParameterValue(HFChannel::HFLevel, level);
    channel->SetParameterValue(HFChannel::AttackHF, 1591.5494F);
    channel->SetParameterValue(HFChannel::ReleaseHF, 17.683884F);
    // Snaps the level.
    channel->Reset(true);
    return channel;
}

Signals RenderTone(HFChannel& channel, float control, std::size_t length = 4800) {
    return Render(channel, {Tone(length, 8000.0, 48000.0, quiet), Signal(length, control)}, 1);
}

} // namespace

TEST(HFChannelTest, IsASixthOrderHighPassAndASecondOrderLowPass) {
    for (const double rate : responseRates) {
        auto channel = MakeChannel(open, 0.5F, rate);
        Render(*channel, {Signal(4400, 0.0F), Signal(4400, 15.0F)}, 1);
        const Signal impulse = Impulse(4400, static_cast<float>(quiet));
        const Signal response = Render(*channel, {impulse, Signal(4400, 15.0F)}, 1)[0];
        ExpectResponse(response, quiet, rate, [rate](double hz) {
            const Complex high = HighPass2(AnalogueFrequency(hz, 5028.5923, rate), 0.7102);
            const Complex low = LowPass2(AnalogueFrequency(hz, 15005.0, rate), 0.70711);
            return 0.5 * 0.8912 * gateGain * 1.592 * high * high * high * low;
        });
    }
}

TEST(HFChannelTest, FollowsTheDecisionOnlyInItsGatedMode) {
    const double reference = Rms(RenderTone(*MakeChannel(open), -15.0F)[0], 2400);
    EXPECT_GT(reference, 0.1 * quiet);
    EXPECT_NEAR(Rms(RenderTone(*MakeChannel(open), 15.0F)[0], 2400), reference, 1e-6 * reference);
    EXPECT_NEAR(Rms(RenderTone(*MakeChannel(gated), -15.0F)[0], 2400), reference, 1e-6 * reference);
    EXPECT_EQ(Rms(RenderTone(*MakeChannel(gated), 15.0F)[0], 2400), 0.0);
    // What is no mode counts as gated.
    EXPECT_EQ(Rms(RenderTone(*MakeChannel(NAN), 15.0F)[0], 2400), 0.0);
}

TEST(HFChannelTest, HandsItsGateTimesToTheGate) {
    auto channel = MakeChannel(gated);
    channel->SetParameterValue(HFChannel::ReleaseHF, 5.0F);
    const double before = Rms(RenderTone(*channel, -15.0F)[0], 4200);
    const Signal release = RenderTone(*channel, 15.0F)[0];
    // 5 Hz: one time constant is 1528 samples.
    const double after = Rms(Signal(release.begin() + 1516, release.begin() + 1540), 0);
    EXPECT_NEAR(after / before, std::exp(-1.0), 0.01);
}

TEST(HFChannelTest, LevelIsAPlainFactorThatGlidesToSilence) {
    auto channel = MakeChannel(open);
    const double full = Rms(RenderTone(*channel, 15.0F)[0], 2400);
    channel->SetParameterValue(HFChannel::HFLevel, 0.25F);
    RenderTone(*channel, 15.0F, 48000);
    EXPECT_NEAR(Rms(RenderTone(*channel, 15.0F)[0], 0), 0.25 * full, 1e-3 * full);
    channel->SetParameterValue(HFChannel::HFLevel, 0.0F);
    const Signal fade = RenderTone(*channel, 15.0F, 48000)[0];
    EXPECT_GT(Rms(Signal(fade.begin(), fade.begin() + 240), 0), 0.15 * full) << "no step";
    EXPECT_LT(Rms(fade, 47000), 1e-9 * full);
}

TEST(HFChannelTest, OutputGainScalesAndInverts) {
    auto channel = MakeChannel(open);
    auto inverted = MakeChannel(open);
    inverted->SetParameterValue(HFChannel::H0HP, -3.184F);
    const Signals plain = RenderTone(*channel, 15.0F);
    const Signals twice = RenderTone(*inverted, 15.0F);
    for (std::size_t n = 0; n < plain[0].size(); ++n) {
        ASSERT_NEAR(twice[0][n], -2.0F * plain[0][n], 1e-8F) << "frame " << n;
    }
}

TEST(HFChannelTest, KeepsItsStageInvariants) {
    const Signals inputs = {Noise(4400, 3.0F, 15), Decisions(4400, 16)};
    ExpectStageInvariants([] { return MakeChannel(gated); }, inputs, 1);
    ExpectStageInvariants([] { return MakeChannel(open); }, inputs, 1);
}

TEST(HFChannelTest, SoundComesBackAfterImpossibleFilters) {
    auto channel = MakeChannel(open);
    const double before = Rms(RenderTone(*channel, 15.0F)[0], 2400);
    for (const auto parameter : {HFChannel::QHP, HFChannel::QLP}) {
        channel->SetParameterValue(parameter, 0.0F);
        ExpectFinite(RenderTone(*channel, 15.0F));
        channel->SetParameterValue(parameter, parameter == HFChannel::QHP ? 0.7102F : 0.70711F);
        const Signals after = RenderTone(*channel, 15.0F);
        ExpectFinite(after);
        EXPECT_NEAR(Rms(after[0], 2400), before, 1e-3 * before) << "parameter " << parameter;
    }
}

TEST(HFChannelTest, CornersAboveNyquistAreHeldBelowItAtLowRates) {
    auto channel = MakeChannel(open, 1.0F, 22050.0);
    channel->SetParameterValue(HFChannel::FcLP, 15000.0F);
    const Signals out = Render(*channel, {Noise(22000, 1e-3F, 17), Signal(22000, 15.0F)}, 1);
    EXPECT_LT(Rms(out[0], 0), 1e-2) << "a stable filter does not amplify that much";
    EXPECT_GT(Rms(out[0], 11000), 1e-4);
}
