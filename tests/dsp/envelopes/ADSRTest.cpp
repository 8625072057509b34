// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/envelopes/ADSR.h"

#include "dsp/framework/RunChild.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

constexpr u32 blockSize = 44;
constexpr float rate = 48000.0F;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();
using Signal = std::vector<float>;

/// Lengths in frames. Not whole, so that rounding cannot move the end of a stage.
constexpr double attackFrames = 1440.5;
constexpr double decayFrames = 700.5;
constexpr double releaseFrames = 1000.5;
constexpr float sustainLevel = 0.6F;

float Seconds(double frames) { return static_cast<float>(frames / static_cast<double>(rate)); }

struct Envelope {
    explicit Envelope(float curve = 0.0F) {
        Set(ADSR::Attack, Seconds(attackFrames), ADSR::Decay, Seconds(decayFrames), ADSR::Sustain,
            sustainLevel);
        Set(ADSR::Release, Seconds(releaseFrames), ADSR::AttackCurve, curve, ADSR::DecayCurve, curve);
        Set(ADSR::ReleaseCurve, curve).adsr.Initialize(rate, blockSize);
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
    /// Outputs start at -7, so that frames left out show.
    Signal Render(u32 frames, const std::vector<u32>& sizes = {blockSize}) {
        Signal signal(frames + blockSize, -7.0F);
        u32 start = 0;
        for (std::size_t block = 0; start < frames; ++block) {
            ProcessContext context;
            context.numFrames = std::min(sizes[block % sizes.size()], frames - start);
            context.inputs = inputs;
            context.numInputs = 7;
            float* out = signal.data() + start;
            context.outputs = &out;
            context.numOutputs = 1;
            EXPECT_TRUE(RunChild(adsr, context));
            start += context.numFrames;
        }
        signal.resize(frames);
        return signal;
    }
    /// Routes a constant offset to the given inputs.
    void Modulate(const std::vector<u32>& ids, float offset, float mark = 1.0F) {
        std::fill_n(modulation, 4, mark);
        std::fill_n(modulation + 4, blockSize, offset);
        for (const u32 id : ids) {
            inputs[id] = modulation + 4;
        }
    }
    Signal Note(const std::vector<u32>& sizes = {blockSize}) {
        Signal note = Gate(true).Render(2640, sizes);
        const Signal tail = Gate(false).Render(1320, sizes);
        note.insert(note.end(), tail.begin(), tail.end());
        return note;
    }
    i32 State() {
        const auto state = static_cast<i32>(adsr.FindParameter(ADSR::OutState)->GetValue());
        EXPECT_EQ(adsr.IsRunning(), state != 0);
        return state;
    }
    float Phase() { return adsr.FindParameter(ADSR::OutStatePhase)->GetValue(); }

    ADSR adsr;
    float modulation[4 + blockSize] = {};
    const float* inputs[7] = {};
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

void ExpectNear(const Signal& got, const Signal& expected, float tolerance, const std::string& what) {
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t n = 0; n < got.size(); ++n) {
        ASSERT_NEAR(got[n], expected[n], tolerance) << what << ", frame " << n;
    }
}

TEST(ADSRTest, StagesTakeTheirTimesAlongTheirCurves) {
    for (const float curve : {-20.0F, -4.0F, -0.3F, 0.0F, 0.3F, 5.0F, 20.0F}) {
        const Signal note = Envelope(curve).Note();
        for (u32 n = 0; n < note.size(); ++n) {
            ASSERT_NEAR(note[n], Expected(n, static_cast<double>(curve)), 5e-4)
                << "curve " << curve << ", frame " << n;
        }
    }
    Envelope envelope;
    EXPECT_EQ((envelope.Gate(true).Render(1320), envelope.State()), 1);
    EXPECT_NEAR(envelope.Phase(), 1320.0 / attackFrames, 1e-4);
    EXPECT_EQ((envelope.Render(220), envelope.State()), 2);
    EXPECT_EQ((envelope.Render(1100), envelope.State()), 3);
    EXPECT_EQ((envelope.Gate(false).Render(440), envelope.State()), 4);
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

TEST(ADSRTest, NeitherBlocksNorTheCarefulPathChangeASample) {
    for (const float curve : {-20.0F, -4.0F, 0.0F, 3.0F}) {
        const Signal expected = Envelope(curve).Note();
        for (const std::vector<u32>& sizes : {std::vector<u32>{4}, {12, 0, 44, 8, 0, 0, 20}, {40, 36}}) {
            ExpectNear(Envelope(curve).Note(sizes), expected, 1e-6F,
                       "first size " + std::to_string(sizes[0]));
        }
        Envelope careful(curve);
        careful.Modulate({ADSR::Attack, ADSR::Decay, ADSR::Release}, 0.0F);
        ExpectNear(careful.Note(), expected, 1e-6F, "careful");
    }
}

TEST(ADSRTest, StagesWithoutTimeTakeOneFrame) {
    Envelope envelope(-3.0F);
    for (const float time : {nan, -1.0F, 0.0F}) {
        envelope.Set(ADSR::Attack, time, ADSR::Decay, time, ADSR::Release, time);
        EXPECT_EQ(envelope.Gate(true).Render(4, {0, 4}), (Signal{1.0F, 1.0F, 0.6F, 0.6F})) << time;
        EXPECT_EQ(envelope.Gate(false).Render(4, {0, 4}), (Signal{0.6F, 0.0F, 0.0F, 0.0F})) << time;
    }
    ProcessContext empty;
    RunChild(envelope.Gate(true).adsr, empty);
    EXPECT_EQ(envelope.Gate(false).Render(4), Signal(4, 0.0F)) << "a note without a frame";
}

TEST(ADSRTest, WithoutSustainTheCourseIgnoresAClosingGateAndAChangeOfModeMakesNoJump) {
    Envelope envelope;
    const Signal held = envelope.Set(ADSR::ADRMode, 1.0F).Gate(true).Render(3960);
    EXPECT_EQ(envelope.State(), 0);
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
    envelope.Set(ADSR::ControlRate, 1.0F).Gate(true);
    for (u32 block = 0; block < 30; ++block) {
        const Signal out = envelope.Render(44);
        ASSERT_NEAR(out[0], block * 44.0 / attackFrames, 1e-5) << "block " << block;
        ASSERT_EQ(Signal(out.begin() + 1, out.end()), Signal(43, -7.0F));
    }
    envelope.Render(44 * 30);
    EXPECT_NEAR(envelope.Gate(false).Render(440)[396], sustainLevel * (1.0 - 396.0 / releaseFrames), 1e-4);
}

TEST(ADSRTest, AnActiveModulationMovesTheTimes) {
    for (const auto& [mark, length] : {std::pair(1.0F, 0.02), std::pair(0.0F, 0.01)}) {
        Envelope envelope;
        envelope.adsr.FindParameter(ADSR::Attack)->Redeclare(1, 0.0F, 0.1F, 0.0F, 0.5F, false);
        envelope.Set(ADSR::Attack, 0.01F).Modulate({ADSR::Attack}, 0.1F, mark);
        EXPECT_NEAR(envelope.Gate(true).Render(440).back(), 439.0 / (length * 48000.0), 1e-4) << mark;
    }
}

} // namespace
} // namespace Velmora::dsp
