// SPDX-License-Identifier: GPL-3.0-or-later
// The instrument as shells play it, through the library.
#include "host/instrument/Instrument.h"

#include "host/common/Errors.h"
#include "rigs/AllocationCounter.h"
#include "rigs/InstrumentRig.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>

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

TEST(Instrument, AllNotesOffAndPanicEndWhatSounds) {
    const auto instrument = Ready({"OutputSelection=carrier", "Attack=2 ms", "Release=10 ms"});
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
    const Preset preset = original->CapturePreset("Glass \"1\"\n\u00e4");
    std::vector<std::string> warnings;
    const Preset read = ParsePreset(FormatPreset(preset, original->Catalog()), original->Catalog(), warnings);
    EXPECT_TRUE(warnings.empty());
    EXPECT_EQ(read.name, preset.name);
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
    EXPECT_NE(RenderChord(*Ready({}, 2), 0.2).samples, RenderChord(*Ready(), 0.2).samples)
        << "another seed, other noise";
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
}

TEST(Instrument, AMonoVoiceIsOnBothSidesAndAResetForgetsWhatIsOnItsWay) {
    const auto instrument = Ready({"OutputSelection=modulator"});
    BlockAdapter adapter(*instrument);
    const Sound mono = test::Sine(441.0, 0.3, 44100, 1);
    const auto frames = static_cast<std::uint32_t>(mono.Frames());
    std::array<std::vector<float>, 2> sound{mono.samples, mono.samples};
    const std::array<float*, 2> output{sound[0].data(), sound[1].data()};
    const std::array<const float*, 1> voice{mono.samples.data()};
    adapter.Process(voice.data(), 1, output.data(), frames);
    EXPECT_EQ(sound[0], sound[1]);
    EXPECT_GT(*std::max_element(sound[0].end() - 441, sound[0].end()), 1e-3F);
    adapter.Reset();
    adapter.Process(nullptr, 0, output.data(), 44);
    EXPECT_TRUE(std::all_of(sound[0].begin(), sound[0].begin() + 44, [](float x) { return x == 0.0F; }));
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
    const auto echoes = [](double tempo) {
        const auto synced = Ready({"FX_Enable=on", "FX1_ModuleType=delay", "FX1_Delay_TempoSync=on"});
        synced->SetTransport({tempo, 0.0, true});
        return RenderChord(*synced, 0.5).samples;
    };
    EXPECT_NE(echoes(240.0), echoes(200.0));
}

/// What the sampler plays is heard as it is, but for the monitor's own gain.
class InstrumentSamplesTest : public testing::Test {
protected:
    static std::unique_ptr<Instrument> Ready(test::Settings settings = {}, std::uint32_t seed = 1) {
        auto instrument = test::Ready({"ExternalInput=off", "OutputSelection=modulator"}, seed);
        test::Apply(*instrument, settings);
        return instrument;
    }
    static double Level(Instrument& instrument, std::uint32_t slot) {
        instrument.NoteOn(instrument.KeyOf(slot));
        const double level = Render(instrument, 0.2).Rms(0.1);
        instrument.NoteOff(instrument.KeyOf(slot));
        Render(instrument, 0.6);
        return level;
    }
    std::filesystem::path Write(const std::string& name, double level) const {
        test::WriteSound(folder / name, test::Sine(1000.0, 0.5, 44100, 2, level));
        return folder / name;
    }

    test::TemporaryFolder folder;
};

TEST_F(InstrumentSamplesTest, LoadingAgainTakesTheNewFileAndClearingOrAFailureLeavesTheSampleEmpty) {
    const auto instrument = Ready();
    const auto path = Write("voice.wav", 0.05);
    instrument->LoadSample(0, path);
    const double before = Level(*instrument, 0);
    Write("voice.wav", 0.5);
    instrument->LoadSample(0, path);
    EXPECT_NEAR(Level(*instrument, 0) / before, 10.0, 0.2);
    EXPECT_FALSE(instrument->HasSample(5) || instrument->HasSample(12));
    instrument->ClearSample(0);
    EXPECT_LT(Level(*instrument, 0), 1e-6);
    test::WriteText(path, "no sound");
    EXPECT_THROW(instrument->LoadSample(0, path), FileError);
    EXPECT_FALSE(instrument->HasSample(0));
    EXPECT_TRUE(instrument->SamplePath(0).empty());
    EXPECT_THROW(instrument->LoadSample(0, folder / std::string(300, 'a')), FileError);
    EXPECT_THROW(instrument->LoadSample(Instrument::sampleCount, path), UsageError);
    EXPECT_THROW(instrument->LoadSample(0, ""), FileError);
}

TEST_F(InstrumentSamplesTest, PresetsMoveWithTheirSamples) {
    const auto instrument = Ready({"Sample3_Gain=-6 dB"});
    std::filesystem::create_directory(folder / "here");
    instrument->LoadSample(2, Write("here/beat.wav", 0.5));
    const double level = Level(*instrument, 2);
    WritePreset(folder / "here/beat.json", instrument->CapturePreset("Beat"), instrument->Catalog());
    const std::string text = test::ReadText(folder / "here/beat.json");
    EXPECT_NE(text.find("\"3\": \"beat.wav\""), std::string::npos) << text.substr(text.size() - 100);

    std::filesystem::rename(folder / "here", folder / "there");
    std::vector<std::string> warnings;
    const auto fresh = Ready();
    fresh->LoadSample(0, folder / "there/beat.wav");
    const Preset preset = ReadPreset(folder / "there/beat.json", fresh->Catalog(), warnings);
    EXPECT_TRUE(fresh->LoadPreset(preset).empty());
    EXPECT_EQ(Level(*fresh, 2), level);
    EXPECT_FALSE(fresh->HasSample(0)) << "the preset speaks of samples and does not name it";
    EXPECT_TRUE(fresh->LoadPreset({}).empty());
    EXPECT_TRUE(fresh->HasSample(2)) << "this one does not speak of samples";

    std::filesystem::remove(folder / "there/beat.wav");
    const auto late = Ready();
    const std::vector<std::string> problems = late->LoadPreset(preset);
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_NE(problems[0].find("beat.wav"), std::string::npos) << problems[0];
    EXPECT_NEAR(late->Value("Sample3_Gain"), -6.0F, 1e-4F) << "the rest is there";
}

std::string Refusal(const std::filesystem::path& path) {
    try {
        EngineLibrary::Load(path);
        return "taken";
    } catch (const EngineError& error) {
        return error.what();
    }
}

TEST(EngineLibrary, RefusesWhatIsNoEngineWithTheReason) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "text.so", "no library");
    const std::pair<std::filesystem::path, const char*> cases[] = {
        {folder / "missing.so", "no such file"},
        {folder.Path(), "no such file"},
        {folder / "text.so", "text.so"},
        {std::filesystem::path(ORPHIA_TEST_TUNING) / "complete.so", "does not export GetProcessorFactory"}};
    for (const auto& [path, reason] : cases) {
        EXPECT_NE(Refusal(path).find(reason), std::string::npos) << Refusal(path);
        EXPECT_NE(Refusal(path).find("cannot be used as the engine"), std::string::npos) << Refusal(path);
    }
}

TEST(EngineLibrary, TheEnvironmentNamesItsPlaceOverAllOthers) {
    Velmora::Platform::SetEnvironment(EngineLibrary::pathVariable, ORPHIA_ENGINE_LIBRARY);
    EXPECT_EQ(EngineLibrary::Load()->Path(), std::filesystem::path(ORPHIA_ENGINE_LIBRARY));
    Velmora::Platform::SetEnvironment(EngineLibrary::pathVariable, "/no/such/engine.so");
    EXPECT_NE(Refusal({}).find("/no/such/engine.so"), std::string::npos) << Refusal({});
    Velmora::Platform::SetEnvironment(EngineLibrary::pathVariable, "");
    const auto places = EngineLibrary::SearchedPlaces();
    ASSERT_EQ(places.size(), 2U);
    EXPECT_EQ(places[0].parent_path(), std::filesystem::path(Velmora::Platform::LibraryPath()).parent_path());
    EXPECT_EQ(places[1].parent_path().filename(), "lib");
}

} // namespace

} // namespace orphia::host
