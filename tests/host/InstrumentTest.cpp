// SPDX-License-Identifier: GPL-3.0-or-later
// The instrument as shells play it, through the library.
#include "host/Instrument.h"

#include "InstrumentRig.h"
#include "host/Errors.h"
#include "reference/AllocationCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <thread>

namespace orphia::host {

namespace {

using test::Ready;
using test::Render;
using test::Sound;

void PlayChord(Instrument& instrument) {
    for (const unsigned note : {48U, 55U, 64U}) {
        instrument.NoteOn(note);
    }
}

Sound RenderChord(Instrument& instrument, double seconds) {
    PlayChord(instrument);
    return Render(instrument, seconds, test::Syllables(seconds));
}

TEST(Instrument, SpeaksChordsAtOnceAndIsSilentWithoutVoiceOrNotes) {
    const auto instrument = Ready();
    EXPECT_LT(Render(*instrument, 0.5, test::Syllables(0.5)).Rms(), 0.02) << "no note: only hiss";
    PlayChord(*instrument);
    EXPECT_LT(Render(*instrument, 0.5).Rms(0.4), 1e-3) << "no voice";
    const Sound sound = Render(*instrument, 1.0, test::Syllables(1.0));
    EXPECT_GT(sound.Rms(), 0.05);
    EXPECT_LT(*std::max_element(sound.samples.begin(), sound.samples.end()), 1.0F);
    const MeterReading meters = instrument->TakeMeters();
    EXPECT_GT(*std::max_element(meters.bands.begin(), meters.bands.end()), 0.02F);
    EXPECT_GT(meters.hiss, 0.5F);
    EXPECT_EQ(instrument->TakeMeters().hiss, 0.0F) << "taken";
}

TEST(Instrument, IsInTuneAndItsNotesEnd) {
    const auto instrument =
        Ready({"OutputSelection=carrier", "Osc1Waveform=triangle", "Osc2Volume=-70 dB", "Dst18_Src4_Amount=0",
               "EnsembleAmount=0", "Attack=2 ms", "Release=10 ms"});
    const auto rises = [](const Sound& sound) {
        int count = 0;
        for (std::size_t n = 2; n < sound.samples.size(); n += 2) {
            count += sound.samples[n - 2] < 0.0F && sound.samples[n] >= 0.0F ? 1 : 0;
        }
        return count / sound.Seconds();
    };
    instrument->NoteOn(69);
    Render(*instrument, 0.1);
    EXPECT_NEAR(rises(Render(*instrument, 1.0)), 440.0, 2.0);
    instrument->NoteOff(69);
    Render(*instrument, 0.1);
    EXPECT_LT(Render(*instrument, 0.1).Rms(), 1e-5);
    instrument->NoteOn(60);
    instrument->NoteOn(60);
    instrument->Send({0xB0, 64, 127});
    Render(*instrument, 0.1);
    instrument->AllNotesOff();
    Render(*instrument, 0.1);
    EXPECT_LT(Render(*instrument, 0.1).Rms(), 1e-5) << "twice, and with the pedal";
    PlayChord(*instrument);
    EXPECT_GT(Render(*instrument, 0.1).Rms(), 1e-3);
    instrument->Panic();
    EXPECT_EQ(Render(*instrument, 0.1).Rms(0.01), 0.0);
    PlayChord(*instrument);
    EXPECT_GT(Render(*instrument, 0.1).Rms(), 1e-3) << "alive after a panic";
}

/// Every control somewhere else, as far as that leaves a sound.
void Scramble(Instrument& instrument, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> place(0.3F, 0.7F);
    for (const ParameterInfo& info : instrument.Catalog().Parameters()) {
        const bool isMoved =
            info.role == ParameterRole::Control || (info.role == ParameterRole::Route && random() % 20 == 0);
        const bool isRandom = info.name.find("Waveform") != std::string::npos;
        if (isMoved && !isRandom && info.name.find("Volume") == std::string::npos) {
            instrument.Set({info.id, ParameterSetting::Scale::Position, place(random)});
        }
    }
    test::Apply(instrument, {"OutputSelection=vocoder", "ExternalInput=on", "SampleHold=off", "FX_Enable=on",
                             "FX1_ModuleType=delay", "FX2_ModuleType=phaser", "FX3_ModuleType=reverb",
                             "VoiceInputGate_Threshold=-55 dB", "VoiceInputGate_Hold=10 ms", "Attack=5 ms"});
}

TEST(Instrument, APresetBringsTheSoundBackToTheBit) {
    const auto original = Ready();
    Scramble(*original, 1);
    const Preset preset = original->CapturePreset("scrambled");
    std::vector<std::string> warnings;
    const Preset read = ParsePreset(FormatPreset(preset, original->Catalog()), original->Catalog(), warnings);
    EXPECT_TRUE(warnings.empty());
    ASSERT_EQ(read.settings.size(), preset.settings.size());
    for (std::size_t n = 0; n < read.settings.size(); ++n) {
        const ParameterInfo& info = original->Catalog().Parameters()[preset.settings[n].id];
        EXPECT_EQ(read.settings[n], preset.settings[n]) << info.name;
        EXPECT_EQ(FormatSetting(info, read.settings[n]), FormatSetting(info, preset.settings[n]))
            << info.name;
    }

    const auto fresh = Ready();
    EXPECT_TRUE(fresh->LoadPreset(read).empty());
    for (const ParameterInfo& info : fresh->Catalog().Parameters()) {
        if (info.IsSettable() && info.role != ParameterRole::Circuit) {
            EXPECT_EQ(fresh->Position(info.id), original->Position(info.id)) << info.name;
        }
    }
    const Sound sound = RenderChord(*original, 1.0);
    EXPECT_GT(sound.Rms(), 1e-4);
    EXPECT_EQ(RenderChord(*fresh, 1.0).samples, sound.samples);
}

TEST(Instrument, APresetLeavesNothingOfTheOneBefore) {
    const auto used = Ready();
    Scramble(*used, 2);
    used->Set("Analysis3_Synthesis7", "-0.5");
    used->Set("BodeVocoder_HFChannel_FcLP", "800 Hz");
    RenderChord(*used, 0.2);
    used->LoadPreset({});
    const auto fresh = Ready();
    for (const ParameterInfo& info : fresh->Catalog().Parameters()) {
        if (info.role != ParameterRole::Output && info.role != ParameterRole::Circuit) {
            EXPECT_EQ(used->Position(info.id), fresh->Position(info.id)) << info.name;
        }
    }
    EXPECT_EQ(used->Value("HFChannel_FcLP"), fresh->Value("HFChannel_FcLP"));
    EXPECT_EQ(used->CapturePreset().settings, fresh->CapturePreset().settings);
}

TEST(Instrument, AnyHostBlockSizeGivesTheSameSoundOneBlockLate) {
    constexpr std::size_t frames = 22050;
    const Sound voice = test::Syllables(0.5);
    const auto play = [&](BlockAdapter::Mode mode, std::uint32_t longest) {
        const auto instrument = Ready();
        BlockAdapter adapter(*instrument, mode);
        std::vector<float> output(2 * frames);
        std::mt19937 random(longest);
        for (std::size_t done = 0; done < frames;) {
            const bool isLate = mode == BlockAdapter::Mode::AnyLength;
            const std::size_t count = std::min(frames - done, isLate ? 1 + random() % longest : frames);
            std::vector<TimedEvent> events;
            for (const auto& [frame, note] : {std::pair{0U, 48}, {5001U, 60}, {5002U, 64}, {9000U, 67}}) {
                if (frame >= done && frame < done + count) {
                    const MidiMessage on{0x90, static_cast<std::uint8_t>(note), 100};
                    events.push_back({static_cast<std::uint32_t>(frame - done), on});
                }
            }
            adapter.Process(std::span(voice.samples).subspan(2 * done, 2 * count),
                            std::span(output).subspan(2 * done, 2 * count), events);
            done += count;
        }
        output.erase(output.begin(), output.begin() + 2 * adapter.Latency());
        return output;
    };
    const std::vector<float> late = play(BlockAdapter::Mode::AnyLength, 1);
    for (const std::uint32_t longest : {60U, 44U, 5000U}) {
        EXPECT_EQ(play(BlockAdapter::Mode::AnyLength, longest), late) << longest;
    }
    std::vector<float> inTime = play(BlockAdapter::Mode::WholeBlocks, 1);
    inTime.resize(late.size());
    EXPECT_EQ(inTime, late);
    const auto instrument = Ready();
    EXPECT_EQ(instrument->FramesPerBlock(), 44U);
    EXPECT_EQ(BlockAdapter(*instrument).Latency(), 44U);
}

TEST(Instrument, InstancesDoNotDisturbEachOtherInTwoThreads) {
    const auto alone = Ready();
    const Sound expected = RenderChord(*alone, 0.5);
    std::vector<Sound> sounds(2);
    const auto play = [&sounds](std::size_t index) {
        const auto instrument = Ready();
        sounds[index] = RenderChord(*instrument, 0.5);
    };
    std::thread other(play, 1);
    play(0);
    other.join();
    EXPECT_EQ(sounds[0].samples, expected.samples);
    EXPECT_EQ(sounds[1].samples, expected.samples);
    const auto differently = Ready({}, 2);
    EXPECT_NE(RenderChord(*differently, 0.5).samples, expected.samples) << "another seed, other noise";
}

TEST(Instrument, NoCallForAnAudioThreadAllocates) {
    const auto instrument = Ready();
    Render(*instrument, 0.01);
    BlockAdapter adapter(*instrument);
    const std::uint32_t id = instrument->Catalog().Find("MasterVolume").id;
    std::vector<float> sound(2000);
    const std::vector<TimedEvent> events = {
        {3, MidiMessage{0x90, 60, 100}}, {9, MidiMessage{0xB0, 64, 127}}, {9, MidiMessage{0xE0, 0, 80}}};
    const orphia_reference::AllocationCounter counter;
    for (int i = 0; i < 20; ++i) {
        instrument->Set({id, ParameterSetting::Scale::Value, -3.0F - static_cast<float>(i)});
        instrument->SetTransport({140.0, i * 1.0, true});
        adapter.Process(sound, sound, events);
        instrument->NoteOff(60);
        instrument->TakeMeters();
        instrument->AllNotesOff();
    }
    EXPECT_EQ(counter.Count(), 0U);
}

TEST(Instrument, NonsenseComesToNoHarm) {
    const auto instrument = Ready();
    EXPECT_THROW(instrument->Set("Foo", "1"), UsageError);
    EXPECT_THROW(instrument->Set("MasterVolume", "3 s"), UsageError);
    EXPECT_THROW(instrument->Set("Panic", "on"), UsageError);
    EXPECT_THROW(Instrument(test::Engine(), 7999), UsageError);
    EXPECT_THROW(instrument->SetSampleRate(384001), UsageError);
    const auto before = instrument->CapturePreset();
    for (const float number :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        instrument->Set(
            {instrument->Catalog().Find("MasterVolume").id, ParameterSetting::Scale::Value, number});
        instrument->Control(3, number);
    }
    instrument->Set({1'000'000, ParameterSetting::Scale::Value, 1.0F});
    instrument->Set({instrument->Catalog().Find("Panic").id, ParameterSetting::Scale::Value, 1.0F});
    EXPECT_EQ(instrument->CapturePreset().settings, before.settings);
    EXPECT_GT(RenderChord(*instrument, 0.5).Rms(), 0.01);
    for (const auto& message : instrument->TakeMessages()) {
        ADD_FAILURE() << message;
    }
}

TEST(Instrument, KeepsItsSettingsAtAnotherRate) {
    const auto instrument = Ready({"MasterVolume=-6 dB"});
    const double level = RenderChord(*instrument, 0.5).Rms();
    instrument->SetSampleRate(96000);
    EXPECT_EQ(instrument->FramesPerBlock(), 96U);
    EXPECT_NEAR(instrument->Value("MasterVolume"), -6.0F, 1e-4F);
    PlayChord(*instrument);
    EXPECT_NEAR(Render(*instrument, 0.5, test::Syllables(0.5, 96000)).Rms() / level, 1.0, 0.3);
}

TEST(Instrument, TheBeatGoesOnWhileItPlays) {
    const auto instrument = Ready();
    instrument->SetTransport({120.0, 4.0, true});
    Render(*instrument, 1.0);
    EXPECT_NEAR(instrument->CurrentTransport().beat, 6.0, 0.01);
    instrument->SetTransport({120.0, 4.0, false});
    Render(*instrument, 1.0);
    EXPECT_EQ(instrument->CurrentTransport().beat, 4.0);
}

} // namespace

} // namespace orphia::host
