// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/instrument/PlayedRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace orphia::test {
namespace {

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

TEST(VocoderProcessor, AVoiceOfOneChannelIsOnBothSidesAndWithoutVoiceAndKeysAllIsSilent) {
    SpeakingRig rig;
    rig.Set(VocoderProcessor::OutputSelection, VocoderProcessor::ModulatorMonitor);
    rig.voiceChannels = 1;
    EXPECT_GT(rig.Run(100), 0.001F);
    EXPECT_EQ(rig.out[0], rig.out[1]);
    rig.Set(VocoderProcessor::OutputSelection, VocoderProcessor::VocoderOutput);
    rig.SetModulator(VocoderModulator::ExternalInput, 0.0F);
    rig.Run(200);
    EXPECT_EQ(Peak(rig.out[0]), 0.0F);
}

TEST(VocoderProcessor, MonitorsPassTheEffectsByAndObeyTheVolume) {
    SpeakingRig rig;
    SpeakingRig effected;
    for (u32 id = 0; id < FXContainer::parameterCount; ++id) {
        effected.played->SetParameterNormalized(VocoderProcessor::FirstParameter<5>() + id, 0.3F);
    }
    for (const i32 monitor : {VocoderProcessor::CarrierMonitor, VocoderProcessor::ModulatorMonitor}) {
        for (PlayedRig* each : {&rig, &effected}) {
            each->Set(VocoderProcessor::OutputSelection, static_cast<float>(monitor));
            each->NoteOn(60);
            each->Run(200);
        }
        EXPECT_GT(Peak(rig.out[0]), 0.001F) << monitor;
        EXPECT_EQ(rig.out[0], effected.out[0]) << monitor;
    }
    const float loud = rig.Run(300);
    rig.Set(VocoderProcessor::Volume, -20.0F);
    rig.Run(1000);
    EXPECT_NEAR(rig.Run(300) / loud, 0.1F, 0.002F);
    rig.Set(SynthMasterVolume, -20.0F);
    rig.Run(100);
    EXPECT_NEAR(rig.Run(300) / loud, 0.01F, 0.0002F);
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

TEST(VocoderProcessor, AllNotesOffLetsGoOfEveryKeyButNotOfThePedal) {
    SpeakingRig rig;
    for (const u8 key : std::initializer_list<u8>{0, 40, 60, 60, 127}) {
        rig.NoteOn(key);
    }
    rig.Run();
    rig.SetPosition(AllNotesOff, 1.0F);
    rig.Run(100);
    EXPECT_EQ(rig.HeldCount() + rig.ActiveCount(), 0U);
    rig.SetPosition(AllNotesOff, 0.0F);
    rig.SetPosition(Sustain, 1.0F);
    rig.NoteOn(60);
    rig.Run();
    rig.SetPosition(AllNotesOff, 1.0F);
    rig.Run(50);
    EXPECT_EQ(rig.HeldCount(), 1U);
    rig.SetPosition(Sustain, 0.0F);
    rig.Run(100);
    EXPECT_EQ(rig.ActiveCount(), 0U);
}

TEST(VocoderProcessor, KeysThatChooseASampleStartNoVoice) {
    SpeakingRig rig;
    rig.SetModulator(VocoderModulator::ExternalInput, 0.0F);
    rig.SetModulator(VocoderModulator::SamplerPlayMode, 0.0F);
    rig.SetModulator(VocoderModulator::KeyboardSampleOctave, 2.0F);
    for (u8 key = 23; key <= 36; ++key) {
        rig.NoteOn(key);
    }
    rig.Run();
    const auto voices = rig.played->CarrierSynth().ActiveVoices();
    ASSERT_EQ(voices.size(), 2U);
    EXPECT_EQ(rig.played->Voice(voices[0]).note.note, 23);
    EXPECT_EQ(rig.played->Voice(voices[1]).note.note, 36);
    EXPECT_EQ(rig.HeldCount(), 2U);
    rig.SetModulator(VocoderModulator::SamplerPlayMode, 1.0F);
    rig.NoteOn(30);
    rig.Run();
    EXPECT_EQ(rig.HeldCount(), 3U) << "in the cycle mode all keys play";
}

TEST(VocoderProcessor, NoVoiceIsStuckWhenAHeldKeyComesToSelectSamples) {
    struct Change {
        VocoderModulator::Parameter parameter;
        float before;
        float after;
        u8 key;
    };
    for (const Change& change : {Change{VocoderModulator::KeyboardSampleOctave, 3.0F, 5.0F, 60},
                                 {VocoderModulator::ExternalInput, 1.0F, 0.0F, 40},
                                 {VocoderModulator::SamplerPlayMode, 1.0F, 0.0F, 40}}) {
        SpeakingRig rig;
        rig.SetModulator(VocoderModulator::ExternalInput, 0.0F);
        rig.SetModulator(VocoderModulator::SamplerPlayMode, 0.0F);
        rig.SetModulator(VocoderModulator::KeyboardSampleOctave, 3.0F);
        rig.SetModulator(change.parameter, change.before);
        rig.Set(VocoderProcessor::PolyphonyMode, 2.0F); // two voices: the last of three keys steals and waits
        const auto keys = {change.key, static_cast<u8>(change.key + 12), static_cast<u8>(change.key + 24)};
        std::for_each(keys.begin(), keys.end(), [&rig](u8 key) { rig.NoteOn(key); });
        rig.Run();
        EXPECT_EQ(rig.HeldCount(), 3U);
        rig.SetModulator(change.parameter, change.after);
        rig.Run(20);
        std::for_each(keys.begin(), keys.end(), [&rig](u8 key) { rig.NoteOff(key); });
        rig.Run(200);
        EXPECT_EQ(rig.ActiveCount() + rig.HeldCount(), 0U) << int{change.key};
    }
}

TEST(VocoderProcessor, TheInterfaceHearsOfTheLfoOnlyWhileItCanShowIt) {
    SpeakingRig rig;
    const auto messages = [&rig](u32 blocks) {
        rig.played->dataChanges.count = 0;
        rig.Run(blocks);
        return rig.played->dataChanges.count;
    };
    rig.SetPosition(GuiVisible, 1.0F);
    EXPECT_EQ(messages(64), 0U) << "before the first preset";
    rig.SetPosition(PresetLoading, 1.0F);
    EXPECT_EQ(messages(64), 0U) << "while a preset is loaded";
    rig.SetPosition(PresetLoading, 0.0F);
    rig.NoteOn(60);
    EXPECT_EQ(messages(31), 0U);
    EXPECT_EQ(messages(1), 1U);
    EXPECT_EQ(messages(32 * 12), 10U) << "a full queue takes no more";
    rig.isOffline = 1;
    EXPECT_EQ(messages(64), 0U);
    rig.isOffline = 0;
    rig.SetPosition(GuiVisible, 0.49F);
    EXPECT_EQ(messages(64), 0U);
}

TEST(VocoderProcessor, FewerOutputsThanTwoAreServedAndTheRestIsLost) {
    SpeakingRig whole;
    SpeakingRig left;
    left.outputChannels = 1;
    std::fill(left.out[1].begin(), left.out[1].end(), 7.0F);
    for (PlayedRig* rig : {&whole, &left}) {
        rig->NoteOn(60);
        rig->Run(100);
    }
    EXPECT_EQ(whole.out[0], left.out[0]);
    EXPECT_EQ(left.out[1][0], 7.0F);
    left.outputChannels = 0;
    EXPECT_TRUE(left.RunBlock());
}

} // namespace
} // namespace orphia::test
