// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/instrument/PlayedRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace orphia::test {
namespace {

using Velmora::dsp::Phaser;

struct SpeakingRig : PlayedRig {
    SpeakingRig() { Speak(); }
};

TEST(VocoderProcessor, ANoteAndItsModulationSoundInTheirOwnBlock) {
    SpeakingRig plain;
    SpeakingRig moved;
    for (PlayedRig* rig : {&plain, &moved}) {
        rig->Route(ModWheelSource, Osc1CoarseDestination, 1.0F);
        rig->Run(3);
        EXPECT_EQ(Peak(rig->block), 0.0F);
        rig->NoteOn(69);
    }
    moved.SetPosition(ModWheel, 0.5F);
    plain.Run();
    moved.Run();
    EXPECT_GT(Peak(plain.block), 0.0F) << "the note waits for the next block";
    EXPECT_NE(plain.block, moved.block) << "the modulation waits for the next block";
}

/// Every destination that all voices share, by a route of the wheel: it moves the sound, unless it is that
/// of a source alone.
TEST(VocoderProcessor, EachSharedDestinationMovesTheSound) {
    for (const Wire& wire : wiring) {
        if (wire.IsPerVoice() || wire.module == WiredModule::Follower) {
            continue;
        }
        SpeakingRig plain;
        SpeakingRig moved;
        for (PlayedRig* rig : {&plain, &moved}) {
            // An effect with two signals in each slot, and a carrier that the ensemble moves.
            for (u32 slot = 0; slot < FXContainer::slotCount; ++slot) {
                rig->played->SetParameterValue(
                    VocoderProcessor::FirstParameter<5>() +
                        FXContainer::SlotId(slot, FXVariant::ParameterId(FXVariant::ModuleType)),
                    FXVariant::DelayType);
            }
            rig->played->SetParameterNormalized(
                VocoderProcessor::FirstParameter<5>() + FXContainer::ParameterId(FXContainer::Enable), 1.0F);
            rig->Route(ModWheelSource, wire.destination, -1.0F);
            rig->NoteOn(45);
            rig->Run(50);
        }
        EXPECT_EQ(plain.out[0], moved.out[0]);
        moved.SetPosition(ModWheel, 0.7F);
        plain.Run(100);
        moved.Run(100);
        EXPECT_NE(plain.out[0], moved.out[0]) << wire.text;
    }
}

TEST(VocoderProcessor, PanicByPositionResetsAndMutesUntilItIsTakenBack) {
    SpeakingRig rig;
    rig.NoteOn(60);
    rig.Run(50);
    rig.SetPosition(Panic, 0.4F);
    EXPECT_EQ(rig.HeldCount(), 1U);
    rig.Set(Panic, 1.0F);
    EXPECT_EQ(rig.HeldCount(), 1U) << "set as a value it has no effect of its own";
    rig.SetPosition(Panic, 0.5F);
    EXPECT_EQ(rig.HeldCount(), 0U);
    std::fill(rig.out[0].begin(), rig.out[0].end(), 0.0F);
    rig.NoteOn(62);
    EXPECT_TRUE(rig.RunBlock());
    EXPECT_EQ(Peak(rig.out[0]), 0.0F);
    EXPECT_EQ(rig.HeldCount(), 0U) << "events of a muted block are not played";
    rig.SetPosition(Panic, 0.0F);
    rig.NoteOn(60);
    EXPECT_GT(rig.Run(200), 0.001F);
}

TEST(VocoderProcessor, AResetAtAnyPointLeavesWhatAFreshInstrumentIs) {
    for (const bool byPanic : {false, true}) {
        SpeakingRig used;
        used.NoteOn(60);
        used.NoteOn(64);
        used.Run(77);
        used.NoteOff(60);
        used.Run(3);
        SpeakingRig fresh;
        for (PlayedRig* rig : {&used, &fresh}) {
            if (byPanic) {
                rig->SetPosition(Panic, 1.0F);
                rig->SetPosition(Panic, 0.0F);
            } else {
                rig->played->Initialize(rig->rate, rig->blockSize);
            }
            rig->frame = 0;
            rig->played->SeedNoise(5);
        }
        for (int block = 0; block < 100; ++block) {
            for (PlayedRig* rig : {&used, &fresh}) {
                if (block == 10) {
                    rig->NoteOn(48);
                }
                rig->Run();
            }
            ASSERT_EQ(used.out[0], fresh.out[0]) << "block " << block << ", panic " << byPanic;
            ASSERT_EQ(used.out[1], fresh.out[1]) << "block " << block << ", panic " << byPanic;
        }
    }
}

TEST(VocoderProcessor, APresetBracketResetsAtItsEndOnly) {
    SpeakingRig rig;
    rig.SetModulator(VocoderModulator::CurrentSlot, 5.0F);
    rig.NoteOn(60);
    rig.Run(20);
    rig.SetPosition(PresetLoading, 1.0F);
    EXPECT_EQ(rig.HeldCount(), 1U);
    rig.Run();
    const u32 slot = VocoderModulator::ParameterId(VocoderModulator::CurrentSlot);
    EXPECT_EQ(rig.played->GetParameterNormalized(slot), 0.0F);
    for (int again = 0; again < 2; ++again) { // also when it was 0 already
        rig.NoteOn(60);
        rig.Run();
        rig.SetPosition(PresetLoading, 0.0F);
        EXPECT_EQ(rig.HeldCount(), 0U);
    }
    rig.NoteOn(60);
    rig.Run();
    rig.Set(PresetLoading, 0.0F);
    EXPECT_EQ(rig.HeldCount(), 1U) << "set as a value it has no effect of its own";
}

/// An effect that is dry keeps one from passing silence on, and a zero with a sign from hearing it.
TEST(VocoderProcessor, OneThatRestsInSilenceGoesOnAsOneThatRuns) {
    SpeakingRig resting;
    SpeakingRig running;
    constexpr u32 effects = VocoderProcessor::FirstParameter<5>();
    const auto both = [&](auto act) {
        act(resting);
        act(running);
    };
    const auto setSlot = [](PlayedRig& rig, u32 slot, u32 id, float value) {
        rig.played->SetParameterValue(effects + FXContainer::SlotId(slot, id), value);
    };
    both([&](PlayedRig& rig) {
        rig.played->SetParameterValue(effects + FXContainer::ParameterId(FXContainer::Enable), 1.0F);
        setSlot(rig, 1, FXVariant::IdOf(FXVariant::PhaserType, Phaser::DryWet), 0.0F);
    });
    setSlot(running, 1, FXVariant::ParameterId(FXVariant::ModuleType), FXVariant::PhaserType);
    both([](PlayedRig& rig) { rig.Run(200); });
    std::mt19937 random{8};
    const auto below = [&random](u32 limit) { return static_cast<u32>(random() % limit); };
    u32 silentBlocks = 0;
    float loudest = 0.0F;
    for (u32 scene = 0; scene < 60; ++scene) {
        const float value = static_cast<float>(below(9)) / 8.0F;
        const bool speaks = below(2) == 0;
        const u32 act = below(6);
        const auto note = static_cast<u8>(48 + below(12));
        both([&](PlayedRig& rig) {
            const float silence = &rig == &resting ? 0.0F : -0.0F;
            rig.voiceLevel = speaks ? 0.5F : 0.0F;
            std::fill(rig.external.begin(), rig.external.end(), silence);
            if (act == 0) {
                rig.SetModulator(VocoderModulator::ExternalInput, value);
            } else if (act == 1) {
                rig.SetPosition(VocoderProcessor::Volume, value);
            } else if (act == 2) {
                rig.SetPosition(SynthMasterVolume, value);
            } else if (act == 3) {
                setSlot(rig, 0, FXVariant::ParameterId(FXVariant::ModuleType), scene % 2 == 0 ? 0.0F : 2.0F);
            } else if (act == 4) {
                rig.SetModulator(VocoderModulator::ExternalInputGain, value);
            } else {
                rig.NoteOn(note);
                rig.NoteOff(note);
            }
        });
        for (u32 block = 0; block < 60; ++block) {
            both([](PlayedRig& rig) {
                rig.Run();
                for (std::vector<float>& side : rig.out) {
                    std::transform(side.begin(), side.end(), side.begin(), [](float x) { return x + 0.0F; });
                }
            });
            ASSERT_EQ(resting.out[0], running.out[0]) << scene << ", " << block;
            ASSERT_EQ(resting.out[1], running.out[1]) << scene << ", " << block;
            silentBlocks += Peak(resting.out[0]) == 0.0F ? 1 : 0;
            const auto meter = [](PlayedRig& rig) {
                return rig.played->Modulator().Section<VocoderModulator::Meter>().GetParameterNormalized(
                    Velmora::dsp::VuMeter::Output);
            };
            ASSERT_EQ(meter(resting), meter(running)) << scene << ", " << block;
            loudest = std::max(loudest, meter(resting));
        }
    }
    EXPECT_GT(silentBlocks, 500U);
    EXPECT_GT(loudest, 0.3F);
}

} // namespace
} // namespace orphia::test
