// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/Preamp.h"

#include "StageRig.h"
#include "vocoder/CarrierPreamp.h"

#include <limits>

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

namespace {

template <class M>
std::unique_ptr<M> MakePreamp(float levelDb, double sampleRate = 48000.0) {
    auto module = MakeStage<M>(sampleRate);
    module->SetParameterValue(0, levelDb);
    return module;
}

template <class M>
class BothPreampsTest : public testing::Test {};
using BothPreamps = testing::Types<Preamp, CarrierPreamp>;
TYPED_TEST_SUITE(BothPreampsTest, BothPreamps, );

} // namespace

TEST(PreampTest, PassesTheProgramThroughA48HzHighPassOfLowQ) {
    for (const double rate : responseRates) {
        auto preamp = MakePreamp<Preamp>(-20.0F, rate);
        const Signals out = Render(*preamp, {Impulse(static_cast<std::size_t>(rate), 1.0F)}, 1);
        ExpectResponse(out[0], 1.0, rate, [rate](double hz) {
            return 0.1 * 2.8 * 17.529 * HighPass2(AnalogueFrequency(hz, 4.8, rate), 0.32);
        });
    }
}

TEST(PreampTest, HasNoClip) {
    auto preamp = MakePreamp<Preamp>(0.0F);
    const Signals out = Render(*preamp, {Tone(4800, 1000.0, 48000.0, 100.0)}, 1);
    EXPECT_NEAR(Rms(out[0], 2400), 100.0 * 2.8 * 17.529 / std::numbers::sqrt2, 1.0);
}

TYPED_TEST(BothPreampsTest, KeepTheirStageInvariants) {
    ExpectStageInvariants([] { return MakePreamp<TypeParam>(-6.0F); }, {Noise(2200, 1.0F, 1)}, 1);
}

TYPED_TEST(BothPreampsTest, FaultySamplesCountAsSilence) {
    Signal faulty = Noise(2200, 0.3F, 2);
    Signal clean = faulty;
    const float bad[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                         -std::numeric_limits<float>::infinity(), 1e30F, -2e6F};
    for (std::size_t i = 0; i < 5; ++i) {
        faulty[100 + i * 37] = bad[i];
        clean[100 + i * 37] = 0.0F;
    }
    const Signals got = Render(*MakePreamp<TypeParam>(-6.0F), {faulty}, 1);
    ExpectSame(got, Render(*MakePreamp<TypeParam>(-6.0F), {clean}, 1), "with faulty samples");
}

TYPED_TEST(BothPreampsTest, SoundComesBackAfterAnImpossibleLevel) {
    auto preamp = MakePreamp<TypeParam>(-20.0F);
    const Signal tone = Tone(9600, 1000.0, 48000.0, 0.1);
    const double before = Rms(Render(*preamp, {tone}, 1)[0], 4800);
    for (const float level : {std::numeric_limits<float>::quiet_NaN(), 1e9F}) {
        preamp->SetParameterValue(0, level);
        ExpectFinite(Render(*preamp, {tone}, 1));
        EXPECT_GE(preamp->overload.overloadValue, 0.0F);
    }
    preamp->SetParameterValue(0, -20.0F);
    const Signals after = Render(*preamp, {tone}, 1);
    ExpectFinite(after);
    EXPECT_NEAR(Rms(after[0], 4800), before, 0.001 * before);
}

TYPED_TEST(BothPreampsTest, StartAtTheirLevelAndGlideToANewOne) {
    auto preamp = MakePreamp<TypeParam>(-20.0F);
    const Signal tone = Tone(4800, 1000.0, 48000.0, 0.2);
    const Signal start = Render(*preamp, {tone}, 1)[0];
    EXPECT_NEAR(std::abs(start[13] / start[4800 - 48 + 13]), 1.0F, 0.05F) << "no fade-in";
    preamp->SetParameterValue(0, -40.0F);
    const Signal glide = Render(*preamp, {tone}, 1)[0];
    // Five time constants in 0.1 s: after the first of them 1/e of the distance is left.
    const double ratio = Rms(Signal(glide.begin() + 948, glide.begin() + 972), 0) / Rms(start, 2400);
    EXPECT_NEAR(ratio, 0.1 + 0.9 / std::numbers::e, 0.02);
    const Signal arrived = Render(*preamp, {Signal(48000, 0.0F)}, 1)[0];
    EXPECT_LT(Rms(arrived, 47000), 1e-3) << "decays";
    EXPECT_NEAR(Rms(Render(*preamp, {tone}, 1)[0], 0) / Rms(start, 0), 0.1, 0.003);
}

TYPED_TEST(BothPreampsTest, AnActiveModulationMovesTheLevel) {
    auto preamp = MakePreamp<TypeParam>(-75.0F);
    const Signal tone = Tone(4400, 1000.0, 48000.0, 0.05);
    const Signals up = Render(*preamp, {tone, Signal(4400, 1.0F)}, 1);
    const Signals full = Render(*MakePreamp<TypeParam>(0.0F), {tone}, 1);
    ExpectSame(up, full, "modulated from the bottom to the top");
}

TYPED_TEST(BothPreampsTest, LightTheOverloadFromTheBlocksPeak) {
    auto preamp = MakePreamp<TypeParam>(0.0F);
    Render(*preamp, {Tone(4400, 4000.0, 48000.0, 100.0)}, 1);
    EXPECT_EQ(preamp->overload.overloadValue, 1.0F);
    Render(*preamp, {Signal(44000, 0.0F)}, 1);
    EXPECT_NEAR(preamp->overload.overloadValue, 0.0F, 1e-6F);
    Render(*preamp, {Tone(4400, 4000.0, 48000.0, 100.0)}, 1);
    preamp->Reset(true);
    EXPECT_EQ(preamp->overload.overloadValue, 0.0F);
    EXPECT_EQ(preamp->overload.overloadSmoother.current, 0.0);
}
