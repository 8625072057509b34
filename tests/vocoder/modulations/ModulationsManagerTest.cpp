// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulations/ModulationsManager.h"

#include "rigs/ModuleRig.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

namespace orphia::test {
namespace {

using namespace Velmora::Processor;
using Velmora::i32;
using Velmora::dsp::LFO;

struct ManagerRig {
    static constexpr u32 blockSize = 44;
    static constexpr std::array<u32, 3> switches{ModulationsManager::EnvFollowerEnable,
                                                 ModulationsManager::LFOEnable,
                                                 ModulationsManager::ControlsEnable};
    std::unique_ptr<ModulationsManager> manager = std::make_unique<ModulationsManager>();
    float left = 0.0F;
    float right = 0.0F;
    bool hasRight = true;

    ManagerRig() {
        manager->SeedRandom(1);
        manager->Initialize(44100.0F, blockSize);
        for (const u32 index : switches) {
            SetOwn(index, 1.0F);
        }
        Run();
    }
    void SetOwn(u32 index, float value) {
        manager->SetParameterValue(ModulationsManager::childParameterCount + index, value);
    }
    void SetLfo(u32 id, float value) {
        manager->SetParameterValue(ModulationsManager::FirstParameter<2>() + id, value);
    }
    void Route(u32 source, u32 destination, float amount) {
        manager->SetParameterValue(ModulationMatrix::Cell(destination, source), amount);
    }
    void Run(u32 blocks = 1) {
        const Signal first(blockSize * blocks, left);
        const Signal second(blockSize * blocks, right);
        Render(*manager, {&first, hasRight ? &second : nullptr}, 0, BlockSplit::Of(blockSize));
    }
    ModulationMatrix& Matrix() { return manager->Matrix(); }
    float Source(u32 voice, u32 source) { return Matrix().VoiceSource(voice, source)[0]; }
};

TEST(ModulationsManager, NewestRunningVoiceIsTheMainOneAndStaysItWhenItEnds) {
    ManagerRig rig;
    for (const i32 voice : {3, 7, 3, 50, -1, 57}) {
        rig.manager->VoiceOn(voice);
    }
    const auto order = rig.manager->VoiceOrder();
    EXPECT_EQ(std::vector<u32>(order.begin(), order.end()), (std::vector<u32>{7, 3, 50}));
    EXPECT_EQ(rig.manager->RunningCount(), 4U);
    for (const u32 voice : {50U, 7U, 3U}) {
        rig.manager->VoiceOff(voice);
        EXPECT_EQ(rig.Matrix().MainVoice(), 3);
    }
    EXPECT_TRUE(rig.manager->VoiceOrder().empty());
}

TEST(ModulationsManager, VoicesShareTheirDestinationsOnlyWhereTheWiringSaysSo) {
    ManagerRig rig;
    rig.manager->VoiceOn(0);
    rig.manager->VoiceOn(1);
    for (const Wire& wire : wiring) {
        rig.Route(VelocitySource, wire.destination, 1.0F);
    }
    rig.manager->WriteVoiceSource(0, VelocitySource, 0.25F);
    rig.manager->WriteVoiceSource(1, VelocitySource, 0.5F);
    rig.Run(2);
    for (const Wire& wire : wiring) {
        EXPECT_EQ(rig.Matrix().VoiceDestination(0, wire.destination)[0], wire.IsPerVoice() ? 0.25F : 0.0F)
            << wire.text;
        EXPECT_EQ(rig.Matrix().GlobalDestination(wire.destination)[0], wire.IsPerVoice() ? 0.0F : 0.5F)
            << wire.text;
    }
}

TEST(ModulationsManager, LfosOfVoicesRunByThemselvesAndTheirAmountTakesItsShareFromTheBase) {
    ManagerRig rig;
    rig.SetOwn(ModulationsManager::LFOInternalCycleMode, 1.0F); // free running
    rig.SetOwn(ModulationsManager::LFORetrig, 1.0F);
    rig.SetLfo(LFO::RateUnSynced, 5.0F);
    rig.Route(LfoSource, Osc1ShapeDestination, 0.5F);
    rig.Run();
    rig.manager->VoiceOn(0);
    rig.Run(50);
    rig.manager->VoiceOn(1);
    rig.Run();
    const double blockPhase = 5.0 * ManagerRig::blockSize / 44100.0;
    EXPECT_NEAR(rig.Source(0, LfoSource), std::sin(2.0 * std::numbers::pi * blockPhase * 50), 1e-3);
    EXPECT_NEAR(rig.Source(1, LfoSource), 0.0, 1e-3);
    EXPECT_EQ(rig.Source(2, LfoSource), 0.0F); // not running

    rig.SetLfo(LFO::Waveform, 4.0F); // square
    rig.SetLfo(LFO::RateUnSynced, 0.01F);
    rig.manager->VoiceOn(5);
    rig.manager->WriteVoiceSource(5, VelocitySource, 0.5F);
    rig.Run(2);
    EXPECT_NEAR(rig.Source(5, LfoSource), 1.0F, 1e-6F);
    rig.Route(VelocitySource, LfoAmountDestination, 0.8F);
    rig.Run(2);
    // The LFO's own amplitude input sits on the same destination and is at its upper end already.
    EXPECT_NEAR(rig.Source(5, LfoSource), 0.2F + 0.8F * 0.5F, 1e-5F);
}

TEST(ModulationsManager, SwitchesActOnTheirSourcesOnly) {
    ManagerRig rig;
    for (const u32 source : {FollowerSource, LfoSource, EnvelopeSource, KeySource}) {
        rig.Route(source, Osc1ShapeDestination, 0.25F);
    }
    float expected = 1.0F;
    EXPECT_NEAR(rig.Matrix().RowSum(Osc1ShapeDestination), expected, 1e-6F);
    for (const u32 index : ManagerRig::switches) {
        rig.SetOwn(index, 0.0F);
        rig.Run();
        expected -= 0.25F;
        EXPECT_NEAR(rig.Matrix().RowSum(Osc1ShapeDestination), expected, 1e-6F);
    }
}

TEST(ModulationsManager, FollowerHearsBothSidesOrTheOnlyOne) {
    ManagerRig rig;
    rig.left = 0.4F;
    rig.right = -0.2F;
    rig.Run(400);
    const float stereo = rig.Matrix().GlobalSource(FollowerSource)[0];
    rig.hasRight = false;
    rig.Run(400);
    const float mono = rig.Matrix().GlobalSource(FollowerSource)[0];
    EXPECT_NEAR(stereo / mono, 0.3F / 0.4F, 1e-3F);
}

} // namespace
} // namespace orphia::test
