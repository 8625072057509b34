// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/envelopes/ADSR.h"

#include "rigs/ModuleRig.h"

#include <gtest/gtest.h>

#include <limits>

namespace Velmora::dsp {
namespace {

using orphia::test::BlockSplit;
using orphia::test::Signal;

/// Lengths in frames. Not whole, so that rounding cannot move the end of a stage.
constexpr double attackFrames = 1440.5;
constexpr double decayFrames = 700.5;
constexpr double releaseFrames = 1000.5;
constexpr float sustainLevel = 0.6F;

float Seconds(double frames) { return static_cast<float>(frames / 48000.0); }

struct Envelope {
    explicit Envelope(float curve = 0.0F) {
        Set(ADSR::Attack, Seconds(attackFrames), ADSR::Decay, Seconds(decayFrames), ADSR::Sustain,
            sustainLevel);
        Set(ADSR::Release, Seconds(releaseFrames), ADSR::AttackCurve, curve, ADSR::DecayCurve, curve);
        Set(ADSR::ReleaseCurve, curve).adsr.Initialize(48000.0F, 44);
        adsr.Reset(true);
    }
    template <class... Rest>
    Envelope& Set(u32 id, float value, Rest... rest) {
        adsr.SetParameterValue(id, value);
        if constexpr (sizeof...(rest) > 0) {
            Set(rest...);
        }
        return *this;
    }
    Envelope& Gate(bool open) { return Set(ADSR::GateIn, open ? 1.0F : 0.0F); }
    Signal Render(u32 frames, const BlockSplit& split = BlockSplit::Of(44)) {
        const Signal input(frames, modulation);
        std::vector<const Signal*> inputs(7, nullptr);
        for (const u32 id : modulated) {
            inputs[id] = &input;
        }
        const Signal out = orphia::test::Render(adsr, inputs, 1, split, {&input})[0];
        EXPECT_EQ(adsr.IsRunning(), State() != ADSR::Stage::Idle);
        return out;
    }
    Signal Note(const BlockSplit& split = BlockSplit::Of(44)) {
        Signal note = Gate(true).Render(2640, split);
        const Signal tail = Gate(false).Render(1320, split);
        note.insert(note.end(), tail.begin(), tail.end());
        return note;
    }
    ADSR::Stage State() {
        return static_cast<ADSR::Stage>(static_cast<i32>(adsr.FindParameter(ADSR::OutState)->GetValue()));
    }

    ADSR adsr;
    std::vector<u32> modulated;
    float modulation = 0.0F;
};

double Bent(double p, double curve) { return curve == 0.0 ? p : std::expm1(curve * p) / std::expm1(curve); }

/// The note of Envelope::Note in closed form.
double Expected(u32 frame, double curve) {
    const double n = frame;
    const double level = static_cast<double>(sustainLevel);
    const double attackEnd = std::ceil(attackFrames);
    if (n < attackEnd) {
        return Bent(n / attackFrames, curve);
    }
    if (n < 2640.0) {
        return 1.0 - (1.0 - level) * Bent(std::min((n - attackEnd) / decayFrames, 1.0), curve);
    }
    return level * (1.0 - Bent(std::min((n - 2640.0) / releaseFrames, 1.0), curve));
}

TEST(ADSRTest, StagesTakeTheirTimesAlongTheirCurvesHoweverTheyAreRun) {
    for (const float curve : {-20.0F, -4.0F, -0.3F, 0.0F, 0.3F, 5.0F, 20.0F}) {
        const Signal note = Envelope(curve).Note();
        const Signal split = Envelope(curve).Note(BlockSplit::Random(44, 400, 5));
        Envelope careful(curve);
        careful.modulated = {ADSR::Attack, ADSR::Decay, ADSR::Release};
        const Signal moved = careful.Note();
        for (u32 n = 0; n < note.size(); ++n) {
            ASSERT_NEAR(note[n], Expected(n, static_cast<double>(curve)), 5e-4) << curve << ", frame " << n;
            ASSERT_NEAR(note[n], split[n], 1e-6) << curve << ", frame " << n;
            ASSERT_NEAR(note[n], moved[n], 1e-6) << curve << ", frame " << n;
        }
    }
    Envelope envelope;
    EXPECT_EQ((envelope.Gate(true).Render(1320), envelope.State()), ADSR::Stage::Attack);
    EXPECT_NEAR(envelope.adsr.FindParameter(ADSR::OutStatePhase)->GetValue(), 1320.0 / attackFrames, 1e-4);
    EXPECT_EQ((envelope.Render(220), envelope.State()), ADSR::Stage::Decay);
    EXPECT_EQ((envelope.Render(1100), envelope.State()), ADSR::Stage::Sustain);
    EXPECT_EQ((envelope.Gate(false).Render(440), envelope.State()), ADSR::Stage::Release);
}

TEST(ADSRTest, ASoftStartGoesOnFromTheLevelAndALinkedReleaseIsTheDecay) {
    for (const float curve : {-4.0F, 0.0F, 5.0F}) {
        Envelope envelope(curve);
        envelope.Set(ADSR::HardRetrig, 0.0F).Set(ADSR::ReleaseLink, 1.0F).Set(ADSR::DecayCurve, 0.0F);
        envelope.Gate(true).Render(2640);
        const Signal release = envelope.Gate(false).Render(440);
        const double level = release.back();
        EXPECT_NEAR(level, sustainLevel * (1.0 - 439.0 / decayFrames), 5e-4);
        const double c = static_cast<double>(curve);
        const double from = c == 0.0 ? level : std::log1p(level * std::expm1(c)) / c;
        const Signal attack = envelope.Gate(true).Render(440);
        for (u32 n = 0; n < 400; ++n) {
            ASSERT_NEAR(attack[n], Bent(std::min(from + n / attackFrames, 1.0), c), 1e-3)
                << curve << ' ' << n;
        }
    }
}

TEST(ADSRTest, StagesWithoutTimeTakeOneFrame) {
    Envelope envelope(-3.0F);
    for (const float time : {std::numeric_limits<float>::quiet_NaN(), -1.0F, 0.0F}) {
        envelope.Set(ADSR::Attack, time, ADSR::Decay, time, ADSR::Release, time);
        EXPECT_EQ(envelope.Gate(true).Render(4, {{0, 4}}), (Signal{1.0F, 1.0F, 0.6F, 0.6F})) << time;
        EXPECT_EQ(envelope.Gate(false).Render(4, {{0, 4}}), (Signal{0.6F, 0.0F, 0.0F, 0.0F})) << time;
    }
}

TEST(ADSRTest, WithoutSustainTheCourseIgnoresAClosingGateAndAChangeOfModeMakesNoJump) {
    Envelope envelope;
    const Signal held = envelope.Set(ADSR::ADRMode, 1.0F).Gate(true).Render(3960);
    EXPECT_EQ(envelope.State(), ADSR::Stage::Idle);
    envelope.Gate(false).Gate(true).Render(440);
    EXPECT_EQ(envelope.Gate(false).Render(3520), Signal(held.begin() + 440, held.end()));
    envelope.Gate(true).Render(440);
    const float level = envelope.Gate(false).Render(44).back();
    EXPECT_NEAR(envelope.Set(ADSR::ADRMode, 0.0F).Render(44)[0], level, 1e-3F) << "no jump into the release";
    envelope.Gate(true).Render(2640);
    EXPECT_LT(envelope.Set(ADSR::ADRMode, 1.0F).Render(440).back(), sustainLevel - 0.1F) << "nothing holds";
}

TEST(ADSRTest, AtControlRateABlockYieldsItsFirstSample) {
    Envelope envelope;
    const Signal note = envelope.Set(ADSR::ControlRate, 1.0F).Note();
    for (u32 n = 0; n < note.size(); ++n) {
        // A stage ends with a block.
        if (n < 1440 || n >= 2640) {
            ASSERT_NEAR(note[n], n % 44 == 0 ? Expected(n, 0.0) : 12345.0, 1e-4) << n;
        }
    }
}

TEST(ADSRTest, AModulationMovesTheTimes) {
    Envelope envelope;
    envelope.adsr.FindParameter(ADSR::Attack)->Redeclare(Curve::Linear, 0.0F, 0.1F, 0.0F);
    envelope.Set(ADSR::Attack, 0.01F).modulated = {ADSR::Attack};
    envelope.modulation = 0.1F;
    EXPECT_NEAR(envelope.Gate(true).Render(440).back(), 439.0 / (0.02 * 48000.0), 1e-4);
}

} // namespace
} // namespace Velmora::dsp
