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
    EXPECT_NEAR(meter.IntegratedLoudness().value_or(-99.0), -18.5, 4.5);

    instrument->AllNotesOff();
    EXPECT_TRUE(FallsSilent(*instrument, 2.1)) << "longer than the longest echo";
    // Without a voice the vocoder is silent, so a note that hangs is heard in what goes into it only.
    for (const char* monitor : {"OutputSelection=carrier", "OutputSelection=modulator"}) {
        test::Apply(*instrument, {monitor});
        EXPECT_TRUE(FallsSilent(*instrument, 0.2)) << "hangs: " << monitor;
    }
    EXPECT_EQ(instrument->TakeMessages(), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(All, FactoryPreset, testing::ValuesIn(Library().Entries()), [](const auto& preset) {
    std::string name = preset.param.id;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

} // namespace

} // namespace orphia::host
