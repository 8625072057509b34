// SPDX-License-Identifier: GPL-3.0-or-later
// Every preset that comes with the instrument, with the example voice and song.
#include "host/audio/LoudnessMeter.h"
#include "host/player/MidiPlayer.h"
#include "host/presets/PresetLibrary.h"
#include "rigs/InstrumentRig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using Entry = PresetLibrary::Entry;

const PresetLibrary& Library() {
    static const PresetLibrary library{std::filesystem::path()};
    return library;
}

/// Infinite when some sample is not finite.
float Peak(const test::Sound& sound) {
    float peak = 0.0F;
    for (const float sample : sound.samples) {
        peak = std::max(peak, std::isfinite(sample) ? std::abs(sample) : HUGE_VALF);
    }
    return peak;
}

/// Goes on without a voice until nothing was above -80 dBFS for `pause` seconds; false when that does not
/// come.
bool FallsSilent(Instrument& instrument, double pause) {
    constexpr double piece = 0.1;
    double quiet = 0.0;
    for (double time = 0.0; time < 12.0 && quiet < pause; time += piece) {
        quiet = Peak(test::Render(instrument, piece)) < 1e-4F ? quiet + piece : 0.0;
    }
    return quiet >= pause;
}

class FactoryPreset : public testing::TestWithParam<Entry> {};

TEST_P(FactoryPreset, IsLoudEnoughClipsNowhereAndEnds) {
    const auto instrument = test::Ready();
    std::vector<std::string> warnings;
    const Preset preset = Library().Open(GetParam().id, instrument->Catalog(), warnings);
    EXPECT_EQ(Library().Find(preset.name).id, GetParam().id) << "another one has this name";
    EXPECT_FALSE(preset.description.empty());
    EXPECT_EQ(warnings, std::vector<std::string>{});
    EXPECT_EQ(instrument->LoadPreset(preset), std::vector<std::string>{});

    // The whole takes twice as long and is as loud within 1 dB.
    test::Sound sound = test::ReadSound(std::filesystem::path(ORPHIA_EXAMPLES) / "voice.flac");
    const std::size_t block = instrument->FramesPerBlock();
    std::vector<float> voice(6 * static_cast<std::size_t>(sound.sampleRate) / block * block * 2);
    for (std::size_t n = 0; n < voice.size(); ++n) {
        voice[n] = sound.samples.at(n / 2);
    }
    sound = {sound.sampleRate, 2, voice};
    const MidiFile song = MidiFile::Read(std::filesystem::path(ORPHIA_EXAMPLES) / "song.mid");
    MidiPlayer(song, *instrument).Process(voice, sound.samples);
    EXPECT_LE(Peak(sound), 1.0F) << "full scale";
    LoudnessMeter meter(static_cast<std::uint32_t>(sound.sampleRate));
    meter.Add(sound.samples);
    EXPECT_NEAR(meter.IntegratedLoudness().value_or(-99.0), -21.0, 5.0);

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
    test::Sound voice = test::ReadSound(std::filesystem::path(ORPHIA_EXAMPLES) / "voice.flac");
    const float peak = Peak(voice);
    for (const std::uint32_t rate : {44100U, 48000U, 96000U}) {
        for (const unsigned keys : {1U, 12U}) {
            SCOPED_TRACE(testing::Message() << keys << " keys at " << rate);
            const auto instrument = test::Ready();
            instrument->SetSampleRate(rate);
            std::vector<std::string> warnings;
            instrument->LoadPreset(Library().Open(GetParam().id, instrument->Catalog(), warnings));
            instrument->SetLimiter(true);
            for (unsigned key = 0; key < keys; ++key) {
                instrument->NoteOn(keys == 1 ? 48 : 36 + 4 * key, keys == 1 ? 0.8F : 1.0F);
            }
            // At other rates than its own the voice is a higher one, which does as well, though not for
            // loudness.
            std::vector<float> both(3 * rate / instrument->FramesPerBlock() * instrument->FramesPerBlock() *
                                    2);
            for (std::size_t n = 0; n < both.size(); ++n) {
                both[n] = voice.samples[n / 2 % voice.samples.size()] / peak;
            }
            std::vector<float> heard(both.size());
            BlockAdapter(*instrument, BlockAdapter::Mode::WholeBlocks).Process(both, heard);
            LoudnessMeter meter(rate);
            meter.Add(heard);
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
