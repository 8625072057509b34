// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/Carrier.h"

#include "rigs/FakeVoices.h"
#include "rigs/MeasurePitch.h"
#include "rigs/ModuleRig.h"

#include <memory>

namespace {

using namespace orphia::test;
using namespace Velmora;
using Processor::Carrier;
using Processor::Oscillators;

constexpr double rate = 48000.0;
constexpr u32 blockSize = 48; // a millisecond
constexpr u32 firstTracked = Processor::firstTrackedVoice;

struct NoExpression : engine::ExpressionManager {
    void OnPerVoiceAftertouch(bool /*perVoice*/) override {}
    void WriteVoiceAftertouch(u32 /*voice*/, float /*value*/) override {}
    void WriteGlobalAftertouch(float /*value*/) override {}
    void WriteVoiceBrightness(u32 /*voice*/, float /*value*/) override {}
    i32 FindExpressionVoice(u8 /*note*/, u8 /*channel*/, u32 /*from*/) const override { return noVoice; }
};

/// The carrier with square waves at full level, and what it reads of the instrument.
struct Rig {
    std::unique_ptr<Carrier> carrier = std::make_unique<Carrier>();
    std::unique_ptr<Processor::ModulationsManager> modulations =
        std::make_unique<Processor::ModulationsManager>();
    FakeVoices voices;
    NoExpression expression;
    float pitch = 0.0F;
    bool isWide = false;

    Rig() {
        carrier->Connect(*modulations, voices, expression);
        SetVoice(Oscillators::Osc1Waveform, 2.0F);
        SetVoice(Oscillators::Osc1Coarse, 0.0F);
        SetVoice(Oscillators::Osc1Volume, 0.0F);
        modulations->Initialize(static_cast<float>(rate), blockSize);
        carrier->Initialize(static_cast<float>(rate), blockSize);
        carrier->Reset(true);
    }
    void SetVoice(Oscillators::Additional index, float value) {
        carrier->SetParameterValue(Oscillators::ParameterId(index), value);
    }
    void Set(Carrier::Additional index, float value) {
        carrier->SetParameterValue(Carrier::ParameterId(index), value);
    }
    /// As the instrument starts a note.
    u32 Start(u8 note) {
        voices.Send(0x90, note, 100);
        const auto voice = static_cast<u32>(voices.NewestHeldVoice());
        carrier->Glide().StartNote(voice, note, nullptr, 0);
        carrier->Voice(voice).Envelope().SetParameterValue(dsp::ADSR::Attack, 0.0F);
        carrier->Voice(voice).Envelope().Restart();
        carrier->Killer(voice).LetPass();
        return voice;
    }
    Signal Run(u32 blocks) {
        const Signal pitches(blocks * blockSize, pitch);
        const auto outputs = Render(*carrier, {&pitches}, 2, BlockSplit::Of(blockSize));
        EXPECT_TRUE(isWide || outputs[0] == outputs[1]);
        return outputs[0];
    }
    double Hz(u32 voice) {
        return static_cast<double>(carrier->Voice(voice).FindParameter(Oscillators::frequency)->GetValue());
    }
};

TEST(Carrier, PlayedNotesGlideStraightAndTrackedPitchesExponentiallyInTheSameTime) {
    Rig rig;
    rig.Set(Carrier::GlideTime, 0.4F);
    rig.Set(Carrier::PitchTrack, 1.0F);
    rig.pitch = 200.0F;
    rig.Start(60);
    rig.Run(10);
    const u32 voice = rig.Start(72);
    rig.pitch = 400.0F;
    for (u32 block = 1; block < 400; ++block) {
        rig.Run(1);
        ASSERT_NEAR(Cents(rig.Hz(voice), NoteHz(60.0 + 12.0 * block / 400.0)), 0.0, 0.2) << block;
        ASSERT_NEAR(rig.Hz(firstTracked), 400.0 - 200.0 * std::exp(-5.0 * block / 400.0), 0.02) << block;
    }
    rig.Run(2);
    EXPECT_NEAR(Cents(rig.Hz(voice), NoteHz(72.0)), 0.0, 0.01);
}

TEST(Carrier, TheTuningMovesPlayedNotesAndTheBendTrackedOnes) {
    Rig rig;
    const u32 voice = rig.Start(69);
    rig.Set(Carrier::MasterTune, 451.0F);
    rig.Set(Carrier::PitchTrack, 1.0F);
    rig.carrier->SetBend(-3.0F);
    rig.pitch = 300.0F;
    rig.Run(1);
    EXPECT_NEAR(rig.Hz(voice), 451.0, 1e-3);
    EXPECT_NEAR(rig.Hz(firstTracked), 300.0 * std::exp2(-0.25), 0.01);
}

TEST(Carrier, TheEnsembleComesAndGoesUnderANoteWithoutAStepAndLeavesNothingBehind) {
    Rig rig;
    rig.isWide = true;
    rig.SetVoice(Oscillators::Osc1Waveform, 0.0F);
    rig.Start(45);
    const Signal plain = rig.Run(100);
    Signal sound = plain;
    for (const float amount : {1.0F, 0.0F, 0.3F, 1.0F, 0.0F, 0.0F}) {
        rig.Set(Carrier::EnsembleAmount, amount);
        const Signal more = rig.Run(200);
        sound.insert(sound.end(), more.begin(), more.end());
    }
    const auto roughness = [](const Signal& signal) {
        float most = 0.0F;
        for (std::size_t n = 1001; n < signal.size(); ++n) {
            most = std::max(most, std::abs(signal[n] - signal[n - 1]));
        }
        return most;
    };
    EXPECT_LT(roughness(sound), 2.5F * roughness(plain));
    rig.isWide = false; // both sides are one again
    rig.Run(10);
}

} // namespace
