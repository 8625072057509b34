// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/effects/FXContainer.h"

#include "rigs/EffectRig.h"

#include <memory>

namespace {

using namespace Velmora::Test;
using namespace Velmora::dsp;
using orphia::test::Peak;
using orphia::test::PeakAbove6k;
using Velmora::u32;
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

/// Dry, so that each path gives its input as late as its unit is.
TEST(FXContainerTest, ParallelPathsWaitForTheLatestAndMoveToNewPlacesWithoutAClick) {
    const auto tuned = [](const std::array<u32, 3>& types) {
        Rig rig;
        rig.Own(FXContainer::Routing, 1.0F);
        for (u32 slot = 0; slot < types.size(); ++slot) {
            rig.Choose(slot, types[slot]);
            rig.Set(slot, FXVariant::IdOf(FXVariant::BitCrusherType, BitCrusher::DryWet), 0.0F);
            rig.Set(slot, FXVariant::IdOf(FXVariant::TubeScreamerType, TubeScreamer808::DryWet), 0.0F);
            rig.Set(slot, FXVariant::IdOf(FXVariant::CompressorType, Compressor::Wet), 0.0F);
            rig.Set(slot, FXVariant::IdOf(FXVariant::CompressorType, Compressor::LookaheadEnable), 1.0F);
        }
        rig.effects->Reset(true);
        return rig;
    };
    const Signal noise = Noise(second, 0.5F, 1);
    const Signal kilohertz = Tone(second, 1000.0, 44100.0, 0.5);
    // Whole periods in whole blocks.
    const Signal tone = Tone(92400, 210.0, 44100.0, 0.25);
    using V = FXVariant;
    const std::pair<std::array<u32, 3>, u32> rows[] = {{{0, 0, 0}, 0},
                                                       {{V::BitCrusherType, 0, 0}, 16},
                                                       {{0, V::CompressorType, V::BitCrusherType}, 88},
                                                       {{V::TubeScreamerType, 0, 0}, 4}};
    for (const auto& [types, latency] : rows) {
        Rig rig = tuned(types);
        const bool isExact = types[0] != V::TubeScreamerType;
        const Signal& sound = isExact ? noise : kilohertz;
        const Signal out = rig.Play(sound, sound)[1];
        EXPECT_EQ(rig.effects->Latency(), latency);
        for (std::size_t n = isExact ? latency : 4410; n < second; ++n) {
            ASSERT_NEAR(out[n], sound[n - latency], isExact ? 0.0F : 0.01F) << n << ", late by " << latency;
        }
        // The latest goes, and comes back; in series all latencies add up.
        rig.Play(tone, tone);
        Signal heard;
        for (const u32 change : {V::Bypass, V::ModuleType}) {
            for (const float value : {1.0F, 0.0F}) {
                rig.Set(1, V::ParameterId(change), change == V::Bypass ? value : 5.0F * value);
                const Signals more = rig.Play(tone, tone);
                heard.insert(heard.end(), more[0].begin(), more[0].end());
            }
        }
        EXPECT_LT(PeakAbove6k(heard, 1000, heard.size()), 1.3e-4) << latency;
        rig.Own(FXContainer::Routing, 0.0F);
        rig.Play(noise, noise);
        EXPECT_EQ(rig.effects->Latency(), latency == 88 ? 16 : latency);
    }
}

/// What each moves is each unit's own test's.
TEST(FXContainerTest, BothModulationSignalsOfASlotArriveAtThePlacesOfTheirTypeAndNowhereElse) {
    const std::array<std::array<u32, FXVariant::typeCount>, 2> places = {
        {{0, 3, 11, 19, 22, 25, 29, 33, 39, 47, 50, 58}, {0, 6, 18, 21, 23, 26, 30, 34, 40, 48, 0, 56}}};
    EXPECT_EQ(FXVariant::signalInputs, places);
    const Signal left = Speech(10);
    const auto play = [&left](u32 input, float value) {
        Rig rig;
        rig.Choose(1, FXVariant::DelayType);
        return rig.PlayModulated(left, left, input, value);
    };
    for (u32 input = 2; input < 8; ++input) {
        EXPECT_EQ(Difference(play(input, -0.25F), play(input, 0.0F)) > 0.003, input % 3 == 0) << input;
    }
}
