// SPDX-License-Identifier: GPL-3.0-or-later
// Every preset that comes with the instrument, with the example voice and song.
#include "host/audio/LoudnessMeter.h"
#include "host/player/MidiPlayer.h"
#include "host/presets/PresetLibrary.h"
#include "rigs/InstrumentRig.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using Entry = PresetLibrary::Entry;

const PresetLibrary& Library() {
    static const PresetLibrary library{std::filesystem::path()};
    return library;
}

/// With the preset, nothing of which is warned of.
std::unique_ptr<Instrument> Loaded(const Entry& entry, std::uint32_t rate = 44100) {
    auto instrument = test::Ready();
    instrument->SetSampleRate(rate);
    std::vector<std::string> warnings;
    EXPECT_EQ(instrument->LoadPreset(Library().Open(entry.id, instrument->Catalog(), warnings)), warnings);
    EXPECT_EQ(warnings, std::vector<std::string>{});
    return instrument;
}

/// The example in whole blocks, on both sides with this peak. At other rates than its own it is a higher
/// voice, which does as well, though not for loudness.
std::vector<float> Voice(const Instrument& instrument, std::uint32_t seconds, float peak) {
    static const test::Sound voice = test::ReadSound(std::filesystem::path(ORPHIA_EXAMPLES) / "voice.flac");
    const float gain = peak / voice.Peak();
    const std::uint32_t block = instrument.FramesPerBlock();
    std::vector<float> both(seconds * instrument.SampleRate() / block * block * std::size_t{2});
    for (std::size_t n = 0; n < both.size(); ++n) {
        both[n] = gain * voice.samples[n / 2 % voice.samples.size()];
    }
    return both;
}

/// Goes on without a voice until nothing was above -80 dBFS for `pause` seconds; false when that does not
/// come.
bool FallsSilent(Instrument& instrument, double pause) {
    constexpr double piece = 0.1;
    double quiet = 0.0;
    for (double time = 0.0; time < 12.0 && quiet < pause; time += piece) {
        quiet = test::Render(instrument, piece).Peak() < 1e-4F ? quiet + piece : 0.0;
    }
    return quiet >= pause;
}

class FactoryPreset : public testing::TestWithParam<Entry> {};

TEST_P(FactoryPreset, IsLoudEnoughAndEnds) {
    EXPECT_EQ(Library().Find(GetParam().name).id, GetParam().id) << "another one has this name";
    EXPECT_FALSE(GetParam().description.empty());
    EXPECT_FALSE(GetParam().tags.empty());
    const auto instrument = Loaded(GetParam());
    // The whole takes twice as long and is as loud within 1 dB.
    std::vector<float> sound = Voice(*instrument, 6, 0.708F);
    const MidiFile song = MidiFile::Read(std::filesystem::path(ORPHIA_EXAMPLES) / "song.mid");
    MidiPlayer(song, *instrument).Process(sound, sound);
    LoudnessMeter meter(44100);
    meter.Add(sound);
    EXPECT_NEAR(meter.IntegratedLoudness().value_or(-99.0), -21.0, 5.0);
    EXPECT_LE(meter.SamplePeak(), 1.0) << "full scale";

    instrument->AllNotesOff();
    EXPECT_TRUE(FallsSilent(*instrument, 2.1)) << "longer than the longest echo";
    // Without a voice the vocoder is silent, so a note that hangs is heard in what goes into it only.
    for (const char* monitor : {"OutputSelection=carrier", "OutputSelection=modulator"}) {
        test::Apply(*instrument, {monitor});
        EXPECT_TRUE(FallsSilent(*instrument, 0.2)) << "hangs: " << monitor;
    }
    EXPECT_EQ(instrument->TakeMessages(), std::vector<std::string>{});
}

/// One key is heard, and twelve at full velocity with a voice at full scale stay below -1 dBFS.
TEST_P(FactoryPreset, HasRoomForManyKeysAtEveryRate) {
    for (const std::uint32_t rate : {44100U, 48000U, 96000U}) {
        for (const unsigned keys : {1U, 12U}) {
            SCOPED_TRACE(testing::Message() << keys << " keys at " << rate);
            const auto instrument = Loaded(GetParam(), rate);
            instrument->SetLimiter(true);
            for (unsigned key = 0; key < keys; ++key) {
                instrument->NoteOn(keys == 1 ? 48 : 36 + 4 * key, keys == 1 ? 0.8F : 1.0F);
            }
            std::vector<float> sound = Voice(*instrument, 3, 1.0F);
            BlockAdapter(*instrument, BlockAdapter::Mode::WholeBlocks).Process(sound, sound);
            LoudnessMeter meter(rate);
            meter.Add(sound);
            EXPECT_LE(meter.TruePeak(), 0.8913) << "-1 dBFS";
            if (keys == 1 && rate < 96000) {
                EXPECT_GE(meter.IntegratedLoudness().value_or(-99.0), -26.0);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, FactoryPreset, testing::ValuesIn(Library().Entries()), [](const auto& preset) {
    std::string name = preset.param.id;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

} // namespace

} // namespace orphia::host
