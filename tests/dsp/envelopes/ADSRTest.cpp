// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/envelopes/ADSR.h"

#include "rigs/ModuleRig.h"

namespace Velmora::dsp {
namespace {

using orphia::test::BlockSplit;
using orphia::test::Signal;

constexpr double sustain = 0.6;
/// Lengths in frames. Not whole, so that rounding cannot move the end of a stage.
constexpr double lengths[] = {300.5, 700.5, 1440.5, 0.0, -9.0, std::numeric_limits<double>::quiet_NaN()};

/// The envelope frame by frame, in double precision.
struct Model {
    double Bent(double p) const { return curve == 0.0 ? p : std::expm1(curve * p) / std::expm1(curve); }
    void Gate(bool open) {
        isOpen = open;
        if (open) {
            const double reached = curve == 0.0 ? last : std::log1p(last * std::expm1(curve)) / curve;
            phase = startsAtZero ? 0.0 : std::clamp(reached, 0.0, 1.0);
            stage = 1;
            current = last;
        } else if (!isOneShot) {
            Release();
        }
    }
    void Release() {
        stage = stage == 0 ? 0 : 4;
        phase = 0.0;
    }
    void SetOneShot(bool on) {
        isOneShot = on;
        if (((on && stage == 3) || !isOpen) && stage != 4) {
            Release();
        }
    }
    double Next() {
        const int now = stage;
        const double frames = times[now];
        const double step = now % 3 == 0 ? 0.0 : frames > 0.0 ? 1.0 / frames : 1e9;
        const double way = now == 1 && step > 1.0 ? 1.0 : Bent(phase);
        const double levels[] = {0.0, way, 1.0 - (1.0 - sustain) * way, sustain, current * (1.0 - way)};
        last = levels[now];
        current = now == 4 ? current : last;
        phase += step;
        if (phase >= 1.0) {
            phase = 0.0;
            stage = now == 2 && isOneShot ? 4 : (now + 1) % 5;
        }
        return last;
    }

    double curve = 0.0;
    /// In frames, by stage: idle, attack, decay, sustain, release.
    double times[5] = {0.0, 1440.5, 700.5, 0.0, 1000.5};
    bool isOpen = false, isOneShot = false, startsAtZero = true;
    int stage = 0;
    double phase = 0.0, current = 0.0, last = 0.0;
};

/// The module beside its model.
struct Envelope {
    explicit Envelope(double curve = 0.0, float sampleRate = 48000.0F) : rate(sampleRate) {
        model.curve = curve;
        SetTimes();
        for (const auto& [id, value] : {std::pair(ADSR::AttackCurve, static_cast<float>(curve)),
                                        {ADSR::DecayCurve, static_cast<float>(curve)},
                                        {ADSR::ReleaseCurve, static_cast<float>(curve)},
                                        {ADSR::Sustain, static_cast<float>(sustain)}}) {
            adsr.SetParameterValue(id, value);
        }
        adsr.Initialize(rate, 44);
        adsr.Reset(true);
    }
    void SetTimes() {
        for (const auto& [id, stage] : {std::pair(ADSR::Attack, 1), {ADSR::Decay, 2}, {ADSR::Release, 4}}) {
            adsr.SetParameterValue(id, static_cast<float>(model.times[stage]) / rate);
        }
    }
    Signal Render(u32 frames, const BlockSplit& split = BlockSplit::Of(44)) {
        const Signal input(frames, modulation);
        std::vector<const Signal*> inputs(7, nullptr);
        for (const u32 id : {ADSR::Attack, ADSR::Decay, ADSR::Release}) {
            inputs[id] = isModulated ? &input : nullptr;
        }
        return orphia::test::Render(adsr, inputs, 1, split, {&input})[0];
    }
    float Read(u32 id) { return adsr.FindParameter(id)->GetValue(); }

    float rate;
    ADSR adsr;
    Model model;
    bool isModulated = false;
    /// Moves nothing, but counts.
    float modulation = 1e-30F;
};

TEST(ADSRTest, AgreesWithItsModelThroughNotesOfAnyKindHoweverItIsRun) {
    for (const double curve : {-20.0, -4.0, -0.3, 0.0, 0.3, 5.0, 20.0}) {
        std::mt19937 random(5);
        const auto draw = [&random](u32 limit) { return static_cast<u32>(random() % limit); };
        Envelope envelope(curve);
        Model& model = envelope.model;
        for (u32 turn = 0; turn < 800; ++turn) {
            SCOPED_TRACE(testing::Message() << "curve " << curve << ", turn " << turn);
            const bool on = draw(2) == 0;
            const float position = on ? 1.0F : 0.0F;
            const u32 kind = draw(6);
            if (kind == 0) {
                model.startsAtZero = on;
                envelope.adsr.SetParameterValue(ADSR::HardRetrig, position);
            } else if (kind == 1 && on != model.isOneShot) {
                model.SetOneShot(on);
                envelope.adsr.SetParameterValue(ADSR::ADRMode, position);
            } else if (kind == 2 && model.stage == 0) {
                model.times[1 + draw(2)] = lengths[draw(6)];
                model.times[4] = lengths[draw(6)];
                envelope.SetTimes();
                envelope.adsr.SetParameterValue(ADSR::ReleaseLink, position);
                model.times[4] = on ? model.times[2] : model.times[4];
            } else if (kind > 2 && on != model.isOpen) {
                model.Gate(on);
                envelope.adsr.SetGate(on);
            }
            envelope.isModulated = draw(2) == 0;
            for (const float level : envelope.Render(4 * draw(400), BlockSplit::Random(44, 40, turn))) {
                ASSERT_NEAR(level, model.Next(), std::abs(curve) > 5.0 ? 0.01 : 1e-3);
            }
            ASSERT_EQ(static_cast<int>(envelope.Read(ADSR::OutState)), model.stage);
            ASSERT_NEAR(envelope.Read(ADSR::OutStatePhase), model.phase, 2e-3);
            ASSERT_EQ(envelope.adsr.IsRunning(), model.stage != 0);
        }
    }
}

TEST(ADSRTest, ABlockWhoseLevelIsHeldNeedNotRun) {
    std::mt19937 random(9);
    ADSR runs;
    ADSR rests;
    for (ADSR* adsr : {&runs, &rests}) {
        adsr->Initialize(44100.0F, 44);
    }
    std::array<std::array<float, 44>, 2> sound;
    u32 held = 0;
    for (u32 block = 0; block < 20000; ++block) {
        constexpr u32 ids[] = {ADSR::GateIn, ADSR::GateIn, ADSR::Sustain, ADSR::Decay, ADSR::ADRMode};
        const u32 id = ids[random() % 5];
        const float value = static_cast<float>(random() % 3) * 0.5F;
        const bool moves = random() % 40 == 0;
        for (ADSR* adsr : {&runs, &rests}) {
            float* out = sound[adsr == &runs ? 0 : 1].data();
            ProcessContext context;
            context.outputs = &out;
            context.numOutputs = 1;
            context.numFrames = 44;
            if (moves) {
                adsr->SetParameterValue(id, value);
            }
            adsr->UpdateParameters(context);
            if (adsr == &rests && rests.IsHeld()) {
                std::fill_n(out, 44, rests.HeldLevel());
                ++held;
            } else {
                adsr->Process(context);
            }
            FinishChild(*adsr);
        }
        ASSERT_EQ(sound[1], sound[0]) << block;
    }
    EXPECT_GT(held, 500U);
}

TEST(ADSRTest, LongStagesTakeTheirTimeAtEveryRate) {
    for (const double rate : {8000.0, 44100.0, 96000.0, 192000.0, 384000.0}) {
        for (const bool isModulated : {false, true}) {
            Envelope envelope(0.0, static_cast<float>(rate));
            envelope.adsr.FindParameter(ADSR::Attack)->Redeclare(Curve::Linear, 0.0F, 20.0F, 0.0F);
            envelope.adsr.SetParameterValue(ADSR::Attack, 20.0F);
            envelope.isModulated = isModulated;
            envelope.adsr.SetGate(true);
            envelope.Render(static_cast<u32>(20.0 * rate * 0.9995));
            EXPECT_EQ(envelope.Read(ADSR::OutState), 1.0F) << rate;
            envelope.Render(static_cast<u32>(20.0 * rate * 0.001));
            EXPECT_NE(envelope.Read(ADSR::OutState), 1.0F) << rate;
        }
    }
}

TEST(ADSRTest, AtControlRateABlockYieldsItsFirstSampleAndAModulationMovesTheTimes) {
    Envelope envelope;
    envelope.adsr.SetParameterValue(ADSR::ControlRate, 1.0F);
    envelope.adsr.FindParameter(ADSR::Attack)->Redeclare(Curve::Linear, 0.0F, 0.1F, 0.0F);
    envelope.adsr.SetParameterValue(ADSR::Attack, 0.01F);
    envelope.isModulated = true;
    envelope.modulation = 0.1F;
    envelope.adsr.SetGate(true);
    const Signal note = envelope.Render(880);
    for (u32 n = 0; n < note.size(); ++n) {
        ASSERT_NEAR(note[n], n % 44 == 0 ? n / (0.02 * 48000.0) : 12345.0, 1e-4) << n;
    }
}

} // namespace
} // namespace Velmora::dsp
