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

    /// On, and with all fades, as hosts have it, and a type in each slot. What has a latency is dry.
    explicit Rig(const std::array<u32, 3>& types, float routing = 0.0F) {
        using V = FXVariant;
        Own(FXContainer::Enable, 1.0F);
        Own(FXContainer::Routing, routing);
        for (u32 slot = 0; slot < types.size(); ++slot) {
            Set(slot, V::ParameterId(V::CrossfadeOnBypass), 1.0F);
            Set(slot, V::ParameterId(V::FadeOnModuleChange), 1.0F);
            Set(slot, V::ParameterId(V::ModuleType), static_cast<float>(types[slot]));
            Set(slot, V::IdOf(V::BitCrusherType, BitCrusher::DryWet), 0.0F);
            Set(slot, V::IdOf(V::TubeScreamerType, TubeScreamer808::DryWet), 0.0F);
            Set(slot, V::IdOf(V::CompressorType, Compressor::Wet), 0.0F);
            Set(slot, V::IdOf(V::CompressorType, Compressor::LookaheadEnable), 1.0F);
            Set(slot, V::IdOf(V::StereoPanType, StereoPan::ParameterId(StereoPan::PanDepth)), 0.0F);
        }
        effects->Initialize(rate, block);
    }
    void Set(u32 slot, u32 id, float value) {
        effects->SetParameterValue(FXContainer::SlotId(slot, id), value);
    }
    void SetPan(u32 slot, StereoPan::Additional id, float value) {
        Set(slot, FXVariant::IdOf(FXVariant::StereoPanType, StereoPan::ParameterId(id)), value);
    }
    void Own(FXContainer::Additional id, float value) {
        effects->SetParameterValue(FXContainer::ParameterId(id), value);
    }
    Signals Play(const Signal& left, const Signal& right) { return Render(*effects, {left, right}, 2); }
};

} // namespace

TEST(FXContainerTest, InSeriesTheFirstSlotComesFirstAndInParallelTheMeanIsHeard) {
    for (const float routing : {0.0F, 1.0F}) {
        Rig rig({FXVariant::StereoPanType, FXVariant::StereoPanType, FXVariant::StereoPanType}, routing);
        rig.SetPan(0, StereoPan::Source, StereoPanSettings::LeftOnly);
        rig.SetPan(1, StereoPan::Polarity, StereoPanSettings::InvertedRight);
        rig.SetPan(2, StereoPan::Source, StereoPanSettings::Swapped);
        const Signals out = rig.Play(Signal(second, 0.6F), Signal(second, 0.3F));
        EXPECT_NEAR(out[0].back(), routing > 0.0F ? (0.6F + 0.6F + 0.3F) / 3.0F : -0.6F, 1e-5F);
        EXPECT_NEAR(out[1].back(), routing > 0.0F ? (0.6F - 0.3F + 0.6F) / 3.0F : 0.6F, 1e-5F);
    }
}

TEST(FXContainerTest, SwitchedOffOrEmptyTheInputPassesAndNothingIsLeftOfTheEffects) {
    const Signals noise = {Noise(second, 0.5F, 4), Noise(second, 0.5F, 5)};
    const Signal silence(second, 0.0F);
    for (const float routing : {0.0F, 1.0F}) {
        EXPECT_EQ(Rig({0, 0, 0}, routing).Play(noise[0], noise[1]), noise);
        Rig rig({FXVariant::DelayType, FXVariant::ReverbType, 0}, routing);
        rig.Play(noise[0], noise[1]);
        EXPECT_GT(Peak(rig.Play(silence, silence)[0]), 0.001F) << "there is a tail";
        rig.Own(FXContainer::Enable, 0.0F);
        EXPECT_EQ(rig.Play(noise[0], noise[1]), noise);
        rig.Own(FXContainer::Enable, 1.0F);
        EXPECT_EQ(Peak(rig.Play(silence, silence)[0]), 0.0F);
    }
}

TEST(FXContainerTest, ParallelPathsWaitForTheLatestAndMoveToNewPlacesWithoutAClick) {
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
        Rig rig(types, 1.0F);
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
                const Signal more = rig.Play(tone, tone)[0];
                heard.insert(heard.end(), more.begin(), more.end());
            }
        }
        EXPECT_LT(PeakAbove6k(heard, 1000, heard.size()), 1.3e-4) << latency;
        rig.Own(FXContainer::Routing, 0.0F);
        rig.Play(noise, noise);
        EXPECT_EQ(rig.effects->Latency(), latency == 88 ? 16 : latency);
    }
}
