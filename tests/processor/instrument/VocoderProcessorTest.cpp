// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/instrument/PlayedRig.h"
#include "rigs/SpeakingSettings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace orphia::test {
namespace {

using namespace Velmora::Processor;
using Velmora::dsp::ProcessContext;

/// The whole instrument: a voice on the external input, and what comes out at the end.
struct InstrumentRig {
    PlayedRig notes;
    std::vector<float> voice[2];
    std::vector<float> out[2];
    u32 voiceChannels = 2;
    u32 outputChannels = 2;
    i32 isOffline = 0;
    u32 frame = 0;

    InstrumentRig() {
        for (u32 side = 0; side < 2; ++side) {
            voice[side].assign(notes.blockSize, 0.0F);
            out[side].assign(notes.blockSize, 0.0F);
        }
        LetSpeak(Processor());
        // Everything is there at once.
        Processor().Reset(true);
        notes.SetModulator(VocoderModulator::ExternalInputGain, 0.0F);
    }
    VocoderProcessor& Processor() { return *notes.played; }
    void SetPosition(u32 index, float position) {
        Processor().SetParameterNormalized(VocoderProcessor::ParameterId(index), position);
    }
    /// Speaks: a sine of one cycle per ten blocks' worth of samples, rich enough to open bands.
    void Speak(float level) {
        for (u32 n = 0; n < notes.blockSize; ++n, ++frame) {
            const float phase = 0.02F * static_cast<float>(frame);
            voice[0][n] = level * (std::sin(phase) + 0.5F * std::sin(7.0F * phase));
            voice[1][n] = voice[0][n];
        }
    }
    bool Run(u32 blocks = 1, float level = 0.5F) {
        bool result = true;
        for (u32 i = 0; i < blocks; ++i) {
            Speak(level);
            const float* inputs[2] = {voice[0].data(), voice[1].data()};
            float* outputs[2] = {out[0].data(), out[1].data()};
            ProcessContext context;
            context.auxInputs = inputs;
            context.numAuxInputs = voiceChannels;
            context.outputs = outputs;
            context.numOutputs = outputChannels;
            context.numFrames = notes.blockSize;
            context.inputEvents = &notes.events;
            context.isOffline = isOffline;
            result = Velmora::dsp::RunChild(Processor(), context) && result;
            notes.events.Clear();
        }
        return result;
    }
    /// The peak of the left output over some blocks.
    float Loudest(u32 blocks, float level = 0.5F) {
        float loudest = 0.0F;
        for (u32 i = 0; i < blocks; ++i) {
            Run(1, level);
            loudest = std::max(loudest, Peak(out[0]));
        }
        return loudest;
    }
    float CarrierPeak() {
        const float* block = Processor().CarrierBlock(0);
        return Peak({block, block + notes.blockSize});
    }
};

TEST(VocoderProcessor, ANoteAndItsModulationSoundInTheirOwnBlock) {
    InstrumentRig plain;
    InstrumentRig moved;
    for (InstrumentRig* rig : {&plain, &moved}) {
        rig->notes.Route(ModWheelSource, Osc1CoarseDestination, 1.0F);
        rig->Run(3);
        EXPECT_EQ(rig->CarrierPeak(), 0.0F);
        rig->notes.NoteOn(69);
    }
    moved.SetPosition(ModWheel, 0.5F);
    for (InstrumentRig* rig : {&plain, &moved}) {
        rig->Run();
        EXPECT_GT(rig->CarrierPeak(), 0.0F) << "the note waits for the next block";
    }
    const u32 frames = plain.notes.blockSize;
    const float* first = plain.Processor().CarrierBlock(0);
    const float* second = moved.Processor().CarrierBlock(0);
    EXPECT_FALSE(std::equal(first, first + frames, second)) << "the modulation waits for the next block";
}

TEST(VocoderProcessor, AVoiceOfOneChannelIsOnBothSides) {
    InstrumentRig mono;
    mono.notes.Set(VocoderProcessor::OutputSelection, VocoderProcessor::ModulatorMonitor);
    mono.voiceChannels = 1;
    EXPECT_GT(mono.Loudest(100), 0.001F);
    EXPECT_EQ(mono.out[0], mono.out[1]);
}

TEST(VocoderProcessor, WithoutVoiceInputAndKeysItIsExactlySilent) {
    InstrumentRig rig;
    rig.notes.SetModulator(VocoderModulator::ExternalInput, 0.0F);
    rig.Run(200);
    EXPECT_EQ(Peak(rig.out[0]), 0.0F);
}

TEST(VocoderProcessor, MonitorsPassTheEffectsByAndObeyTheVolume) {
    InstrumentRig rig;
    InstrumentRig effected;
    for (u32 id = 0; id < FXContainer::parameterCount; ++id) {
        effected.Processor().SetParameterNormalized(VocoderProcessor::FirstParameter<5>() + id, 0.3F);
    }
    for (const i32 monitor : {VocoderProcessor::CarrierMonitor, VocoderProcessor::ModulatorMonitor}) {
        for (InstrumentRig* each : {&rig, &effected}) {
            each->notes.Set(VocoderProcessor::OutputSelection, static_cast<float>(monitor));
            each->notes.NoteOn(60);
            each->Run(200);
        }
        EXPECT_GT(Peak(rig.out[0]), 0.001F) << monitor;
        EXPECT_EQ(rig.out[0], effected.out[0]) << monitor;
    }
    const float loud = rig.Loudest(50);
    rig.notes.Set(VocoderProcessor::Volume, -20.0F);
    rig.Run(1000);
    EXPECT_NEAR(rig.Loudest(50) / loud, 0.1F, 0.002F);
    rig.notes.Set(SynthMasterVolume, -20.0F);
    rig.Run(100);
    EXPECT_NEAR(rig.Loudest(50) / loud, 0.01F, 0.0002F);
}

TEST(VocoderProcessor, PanicByPositionResetsAndMutesUntilItIsTakenBack) {
    InstrumentRig rig;
    rig.notes.NoteOn(60);
    rig.Run(50);
    rig.SetPosition(Panic, 0.4F);
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 1U);
    rig.Processor().SetParameterValue(VocoderProcessor::ParameterId(Panic), 1.0F);
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 1U) << "set as a value it has no effect of its own";
    rig.SetPosition(Panic, 0.5F);
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 0U);
    std::fill(rig.out[0].begin(), rig.out[0].end(), 0.0F);
    rig.notes.NoteOn(62);
    EXPECT_TRUE(rig.Run());
    EXPECT_EQ(Peak(rig.out[0]), 0.0F);
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 0U) << "events of a muted block are not played";
    rig.SetPosition(Panic, 0.0F);
    rig.notes.NoteOn(60);
    EXPECT_GT(rig.Loudest(200), 0.001F);
}

TEST(VocoderProcessor, AResetAtAnyPointLeavesWhatAFreshInstrumentIs) {
    for (const bool byPanic : {false, true}) {
        InstrumentRig used;
        used.notes.NoteOn(60);
        used.notes.NoteOn(64);
        used.Run(77);
        used.notes.NoteOff(60);
        used.Run(3);
        InstrumentRig fresh;
        if (byPanic) {
            used.SetPosition(Panic, 1.0F);
            used.SetPosition(Panic, 0.0F);
            fresh.SetPosition(Panic, 1.0F);
            fresh.SetPosition(Panic, 0.0F);
        } else {
            used.Processor().Initialize(used.notes.rate, used.notes.blockSize);
            fresh.Processor().Initialize(fresh.notes.rate, fresh.notes.blockSize);
        }
        used.frame = fresh.frame = 0;
        used.Processor().SeedNoise(5);
        fresh.Processor().SeedNoise(5);
        for (int block = 0; block < 100; ++block) {
            if (block == 10) {
                used.notes.NoteOn(48);
                fresh.notes.NoteOn(48);
            }
            used.Run();
            fresh.Run();
            ASSERT_EQ(used.out[0], fresh.out[0]) << "block " << block << ", panic " << byPanic;
            ASSERT_EQ(used.out[1], fresh.out[1]) << "block " << block << ", panic " << byPanic;
        }
    }
}

TEST(VocoderProcessor, APresetBracketResetsAtItsEndOnly) {
    InstrumentRig rig;
    rig.notes.SetModulator(VocoderModulator::CurrentSlot, 5.0F);
    rig.notes.NoteOn(60);
    rig.Run(20);
    rig.SetPosition(PresetLoading, 1.0F);
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 1U);
    rig.Run();
    const u32 slot = VocoderModulator::ParameterId(VocoderModulator::CurrentSlot);
    EXPECT_EQ(rig.Processor().GetParameterNormalized(slot), 0.0F);
    for (int again = 0; again < 2; ++again) { // also when it was 0 already
        rig.notes.NoteOn(60);
        rig.Run();
        rig.SetPosition(PresetLoading, 0.0F);
        EXPECT_EQ(rig.Processor().HeldNoteCount(), 0U);
    }
    rig.notes.NoteOn(60);
    rig.Run();
    rig.Processor().SetParameterValue(VocoderProcessor::ParameterId(PresetLoading), 0.0F);
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 1U) << "set as a value it has no effect of its own";
}

TEST(VocoderProcessor, AllNotesOffLetsGoOfEveryKeyButNotOfThePedal) {
    InstrumentRig rig;
    for (const Velmora::u8 key : std::initializer_list<Velmora::u8>{0, 40, 60, 60, 127}) {
        rig.notes.NoteOn(key);
    }
    rig.Run();
    rig.SetPosition(AllNotesOff, 1.0F);
    rig.Run(100);
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 0U);
    EXPECT_TRUE(rig.Processor().Sound().ActiveVoices().empty());
    rig.SetPosition(AllNotesOff, 0.0F);
    rig.SetPosition(Sustain, 1.0F);
    rig.notes.NoteOn(60);
    rig.Run();
    rig.SetPosition(AllNotesOff, 1.0F);
    rig.Run(50);
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 1U);
    rig.SetPosition(Sustain, 0.0F);
    rig.Run(100);
    EXPECT_TRUE(rig.Processor().Sound().ActiveVoices().empty());
}

TEST(VocoderProcessor, KeysThatChooseASampleStartNoVoice) {
    InstrumentRig rig;
    rig.notes.SetModulator(VocoderModulator::ExternalInput, 0.0F);
    rig.notes.SetModulator(VocoderModulator::KeyboardSampleOctave, 2.0F);
    for (Velmora::u8 key = 23; key <= 36; ++key) {
        rig.notes.NoteOn(key);
    }
    rig.Run();
    const auto voices = rig.Processor().Sound().ActiveVoices();
    ASSERT_EQ(voices.size(), 2U);
    EXPECT_EQ(rig.Processor().Voice(voices[0]).note.note, 23);
    EXPECT_EQ(rig.Processor().Voice(voices[1]).note.note, 36);
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 2U);
    rig.notes.SetModulator(VocoderModulator::SamplerPlayMode, 1.0F);
    rig.notes.NoteOn(30);
    rig.Run();
    EXPECT_EQ(rig.Processor().HeldNoteCount(), 3U) << "in the cycle mode all keys play";
}

TEST(VocoderProcessor, NoVoiceIsStuckWhenAHeldKeyComesToSelectSamples) {
    struct Change {
        VocoderModulator::Parameter parameter;
        float before;
        float after;
        u8 key;
    };
    for (const Change& change : {Change{VocoderModulator::KeyboardSampleOctave, 3.0F, 5.0F, 60},
                                 Change{VocoderModulator::ExternalInput, 1.0F, 0.0F, 40},
                                 Change{VocoderModulator::SamplerPlayMode, 1.0F, 0.0F, 40}}) {
        InstrumentRig rig;
        rig.notes.SetModulator(VocoderModulator::ExternalInput, 0.0F);
        rig.notes.SetModulator(VocoderModulator::KeyboardSampleOctave, 3.0F);
        rig.notes.SetModulator(change.parameter, change.before);
        rig.notes.Set(VocoderProcessor::PolyphonyMode, 2.0F); // two voices
        for (const int above : {0, 12, 24}) {                 // the last one steals and waits
            rig.notes.NoteOn(static_cast<u8>(change.key + above));
        }
        rig.Run();
        rig.notes.SetModulator(change.parameter, change.after);
        rig.Run(20);
        for (const int above : {0, 12, 24}) {
            rig.notes.NoteOff(static_cast<u8>(change.key + above));
        }
        rig.Run(200);
        EXPECT_TRUE(rig.Processor().Sound().ActiveVoices().empty()) << int{change.key};
        EXPECT_EQ(rig.Processor().HeldNoteCount(), 0U);
    }
}

TEST(VocoderProcessor, TheInterfaceHearsOfTheLfoOnlyWhileItCanShowIt) {
    InstrumentRig rig;
    const auto messages = [&rig](u32 blocks) {
        rig.Processor().dataChanges.count = 0;
        rig.Run(blocks);
        return rig.Processor().dataChanges.count;
    };
    rig.SetPosition(GuiVisible, 1.0F);
    EXPECT_EQ(messages(64), 0U) << "before the first preset";
    rig.SetPosition(PresetLoading, 1.0F);
    EXPECT_EQ(messages(64), 0U) << "while a preset is loaded";
    rig.SetPosition(PresetLoading, 0.0F);
    rig.notes.SetModulations(ModulationsManager::LFOEnable, 1.0F);
    rig.notes.NoteOn(60);
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
    InstrumentRig whole;
    InstrumentRig left;
    left.outputChannels = 1;
    std::fill(left.out[1].begin(), left.out[1].end(), 7.0F);
    for (InstrumentRig* rig : {&whole, &left}) {
        rig->notes.NoteOn(60);
        rig->Run(100);
    }
    EXPECT_EQ(whole.out[0], left.out[0]);
    EXPECT_EQ(left.out[1][0], 7.0F);
    left.outputChannels = 0;
    EXPECT_TRUE(left.Run());
}

} // namespace
} // namespace orphia::test
