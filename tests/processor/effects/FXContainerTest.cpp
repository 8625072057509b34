// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/effects/FXContainer.h"

#include "rigs/OscillatorRig.h"
#include "rigs/StageRig.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace Velmora::Test;
using orphia::test::NameOf;
using orphia::test::Peak;
using Velmora::u32;
using Velmora::dsp::StereoPan;
using Velmora::dsp::StereoPanSettings;
using Velmora::Processor::FXContainer;
using Velmora::Processor::FXVariant;

constexpr float rate = 44100.0F;
constexpr u32 block = 44;
/// A second, in whole blocks.
constexpr std::size_t second = 1000 * block;

struct Rig {
    std::unique_ptr<FXContainer> effects = std::make_unique<FXContainer>();

    /// On, and with all fades, as hosts have it.
    Rig() {
        Own(FXContainer::Enable, 1.0F);
        for (u32 slot = 0; slot < FXContainer::slotCount; ++slot) {
            Set(slot, FXVariant::ParameterId(FXVariant::CrossfadeOnBypass), 1.0F);
            Set(slot, FXVariant::ParameterId(FXVariant::FadeOnModuleChange), 1.0F);
        }
        effects->Initialize(rate, block);
    }

    void Set(u32 slot, u32 id, float value) {
        effects->SetParameterValue(FXContainer::SlotId(slot, id), value);
    }
    void SetPan(u32 slot, StereoPan::Additional id, float value) {
        Set(slot, FXVariant::IdOf(FXVariant::StereoPanType, StereoPan::ParameterId(id)), value);
    }
    void Choose(u32 slot, u32 type) {
        Set(slot, FXVariant::ParameterId(FXVariant::ModuleType), static_cast<float>(type));
    }
    void Own(FXContainer::Additional id, float value) {
        effects->SetParameterValue(FXContainer::ParameterId(id), value);
    }
    /// A panner that does not move.
    void ChoosePan(u32 slot) {
        Choose(slot, FXVariant::StereoPanType);
        SetPan(slot, StereoPan::PanDepth, 0.0F);
    }
    Signals Play(const Signal& left, const Signal& right) {
        return Velmora::Test::Render(*effects, {left, right}, 2, {block});
    }
    /// With a steady modulation at an input.
    Signals PlayModulated(const Signal& left, const Signal& right, u32 input, float value) {
        const Signal modulation(left.size(), value);
        std::vector<const Signal*> inputs(8, nullptr);
        inputs[0] = &left;
        inputs[1] = &right;
        inputs[input] = &modulation;
        return orphia::test::Render(*effects, inputs, 2, orphia::test::BlockSplit::Of(block));
    }
};

/// Bursts of a rough tone, at the level of speech.
Signal Speech(u32 seed) {
    Signal signal = Noise(2 * second, 0.05F, seed);
    const Signal tone = Tone(signal.size(), 220.0, static_cast<double>(rate), 1.0);
    for (std::size_t n = 0; n < signal.size(); ++n) {
        const bool isLoud = n / 6000 % 3 != 2;
        signal[n] = isLoud ? signal[n] + 0.25F * tone[n] * tone[n] * tone[n] : 0.1F * signal[n];
    }
    return signal;
}

double Difference(const Signals& a, const Signals& b) {
    Signal rest(a[0].size());
    for (std::size_t n = 0; n < rest.size(); ++n) {
        rest[n] = std::abs(a[0][n] - b[0][n]) + std::abs(a[1][n] - b[1][n]);
    }
    return Rms(rest);
}

} // namespace

TEST(FXContainerTest, InSeriesTheFirstSlotComesFirstAndInParallelTheMeanIsHeard) {
    Rig rig;
    rig.ChoosePan(0);
    rig.SetPan(0, StereoPan::Source, StereoPanSettings::LeftOnly);
    rig.ChoosePan(1);
    rig.SetPan(1, StereoPan::Polarity, StereoPanSettings::InvertedRight);
    rig.ChoosePan(2);
    rig.SetPan(2, StereoPan::Source, StereoPanSettings::Swapped);
    const Signal left(second, 0.6F);
    const Signal right(second, 0.3F);
    Signals out = rig.Play(left, right);
    EXPECT_NEAR(out[0].back(), -0.6F, 1e-5F);
    EXPECT_NEAR(out[1].back(), 0.6F, 1e-5F);
    rig.Own(FXContainer::Routing, 1.0F);
    out = rig.Play(left, right);
    EXPECT_NEAR(out[0].back(), (0.6F + 0.6F + 0.3F) / 3.0F, 1e-5F);
    EXPECT_NEAR(out[1].back(), (0.6F - 0.3F + 0.6F) / 3.0F, 1e-5F);
}

TEST(FXContainerTest, SwitchedOffTheInputPassesAndNothingIsLeftOfTheEffects) {
    Rig rig;
    rig.Choose(0, FXVariant::DelayType);
    rig.Choose(1, FXVariant::ReverbType);
    const Signal noise = Noise(second, 0.5F, 3);
    const Signal silence(second, 0.0F);
    rig.Play(noise, noise);
    EXPECT_GT(Peak(rig.Play(silence, silence)[0]), 0.001F) << "there is a tail";
    rig.Play(noise, noise);
    rig.Own(FXContainer::Enable, 0.0F);
    const Signals inputs = {Noise(second, 0.5F, 4), Noise(second, 0.5F, 5)};
    EXPECT_EQ(rig.Play(inputs[0], inputs[1]), inputs);
    rig.Own(FXContainer::Enable, 1.0F);
    EXPECT_EQ(Peak(rig.Play(silence, silence)[0]), 0.0F);
}

TEST(FXContainerTest, MayWorkInPlaceAndEmptyPassesTheInputToTheBit) {
    for (const float routing : {0.0F, 1.0F}) {
        for (const bool isEmpty : {false, true}) {
            Rig separate;
            Rig inPlace;
            for (Rig* rig : {&separate, &inPlace}) {
                rig->Own(FXContainer::Routing, routing);
                rig->Choose(1, isEmpty ? FXVariant::BypassedType : FXVariant::PhaserType);
            }
            const Signals inputs = {Noise(second, 1.0F, 6), Noise(second, 1.0F, 7)};
            Signals channels = inputs;
            for (std::size_t n = 0; n < second; n += block) {
                orphia::test::RunInPlace(*inPlace.effects, {&channels[0][n], &channels[1][n]},
                                         {&channels[0][n], &channels[1][n]}, block);
            }
            EXPECT_EQ(channels, separate.Play(inputs[0], inputs[1])) << "routing " << routing;
            EXPECT_EQ(channels == inputs, isEmpty);
        }
    }
}

TEST(FXContainerTest, EachTypeIsHeardAtOnceAboutAsLoudAsTheDrySound) {
    const Signal left = Speech(8);
    const Signal right = Speech(9);
    for (u32 type = FXVariant::ReverbType; type < FXVariant::typeCount; ++type) {
        Rig rig;
        rig.Choose(1, type);
        const Signals out = rig.Play(left, right);
        const double loudness = 20.0 * std::log10(std::hypot(Rms(out[0], second), Rms(out[1], second)) /
                                                  std::hypot(Rms(left, second), Rms(right, second)));
        EXPECT_NEAR(loudness, 0.0, 3.0) << "type " << type;
        if (type != FXVariant::ParamEqType) {
            EXPECT_GT(Difference(out, {left, right}), 0.01) << "type " << type;
        }
    }
}

TEST(FXContainerTest, BothModulationSignalsOfASlotMoveWhatTheirTypeSays) {
    struct Moved {
        const char* first;
        const char* second;
    };
    const std::array<Moved, FXVariant::typeCount> moved = {
        {{"", ""},
         {"Dattorro_DryWet", "Dattorro_Decay"},
         {"Delay_DryWet", "Delay_Feedback"},
         {"Chorus_DryWet", "Chorus_Freq"},
         {"Flanger_DryWet", "Flanger_Manual"},
         {"Phaser_Freq", "Phaser_Feedback"},
         {"TS808_Drive", "TS808_Tone"},
         {"Compressor_Wet", "Compressor_Release"},
         {"BitCrusher_Bits", "BitCrusher_SampleRate"},
         {"MultiModeFilter_Cutoff", "MultiModeFilter_Resonance"},
         {"ParamEq_Scale", ""},
         {"StereoPan_Pan", "StereoPan_DryWet"}}};
    const Signal left = Speech(10);
    const Signal right = Speech(11);
    for (u32 type = FXVariant::ReverbType; type < FXVariant::typeCount; ++type) {
        // The signal at an input, or the same way of the control that it is to move.
        const auto play = [&](u32 input, const std::string& control) {
            Rig rig;
            rig.Choose(1, type);
            // An equaliser that does something.
            rig.Set(1, FXVariant::IdOf(FXVariant::ParamEqType, Velmora::dsp::ParamEq<5>::GainId(2)), 12.0F);
            for (u32 id = FXVariant::firstIds[type]; id < FXVariant::firstIds[type + 1]; ++id) {
                if (NameOf(*rig.effects, FXContainer::SlotId(1, id)) == "FX2_" + control) {
                    const u32 at = FXContainer::SlotId(1, id);
                    const float position = rig.effects->GetParameterNormalized(at) - 0.25F;
                    rig.effects->SetParameterNormalized(at, std::max(position, 0.0F));
                }
            }
            rig.effects->Reset(true);
            return input == 0 ? rig.Play(left, right) : rig.PlayModulated(left, right, input, -0.25F);
        };
        const Signals plain = play(0, "none");
        for (const auto& [input, control] : {std::pair(3U, moved[type].first), {6U, moved[type].second}}) {
            const Signals signalled = play(input, "none");
            EXPECT_LT(Difference(signalled, play(0, control)), 1e-3) << type << ", " << control;
            EXPECT_EQ(Difference(signalled, plain) > 0.003, *control != 0) << type << ", " << control;
        }
        for (const u32 ofOthers : {2U, 7U}) {
            EXPECT_EQ(play(ofOthers, "none"), plain) << "input " << ofOthers << ", type " << type;
        }
    }
}
