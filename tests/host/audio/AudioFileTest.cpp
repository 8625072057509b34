// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/audio/AudioFileSource.h"
#include "host/audio/AudioFileWriter.h"
#include "host/audio/LoudnessMeter.h"
#include "host/audio/ResampledSource.h"
#include "host/common/Errors.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace orphia::host {

namespace {

using test::Sine;
using test::Sound;
using test::TemporaryFolder;

/// Everything that a source has, in reads of an odd size.
std::vector<float> ReadAll(AudioSource& source, std::size_t frames = 777) {
    std::vector<float> all;
    std::vector<float> part(frames * 2);
    while (const std::size_t read = source.Read(part)) {
        all.insert(all.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(read * 2));
    }
    return all;
}

TEST(AudioFile, WhatIsWrittenReadsBackInEveryFormat) {
    const TemporaryFolder folder;
    const Sound sound = Sine(500.0, 0.2);
    const std::tuple<const char*, std::optional<SampleFormat>, double> cases[] = {
        {"a.wav", SampleFormat::Float32, 0.0},
        {"b.WAV", SampleFormat::Int24, 1e-6},
        {"c.flac", std::nullopt, 1e-6},
        {"d.wav", SampleFormat::Int16, 4e-5},
        {"e.ogg", std::nullopt, 0.05}};
    for (const auto& [name, format, tolerance] : cases) {
        AudioFileWriter writer(folder / name, 44100, format);
        const std::span<const float> samples(sound.samples);
        writer.Write(samples.first(1000));
        writer.Write(samples.subspan(1000));
        EXPECT_FALSE(std::filesystem::exists(folder / name)) << name;
        writer.Finish();
        AudioFileSource source(folder / name);
        EXPECT_EQ(source.SampleRate(), 44100U);
        EXPECT_EQ(source.ExpectedFrames(), sound.Frames());
        const std::vector<float> read = ReadAll(source);
        ASSERT_EQ(read.size(), sound.samples.size()) << name;
        for (std::size_t i = 0; i < read.size(); ++i) {
            ASSERT_NEAR(read[i], sound.samples[i], tolerance) << name << " sample " << i;
        }
    }
}

TEST(AudioFile, ALoopOfMonoRepeatsWithoutAGapOnBothSidesAndWhatIsNoNumberIsSilence) {
    const TemporaryFolder folder;
    Sound mono = Sine(441.0, 0.01, 44100, 1);
    mono.samples[10] = std::numeric_limits<float>::quiet_NaN();
    mono.samples[11] = std::numeric_limits<float>::infinity();
    test::WriteSound(folder / "loop.wav", mono);
    mono.samples[10] = mono.samples[11] = 0.0F;
    AudioFileSource source(folder / "loop.wav", AudioFileSource::Playback::Loop);
    EXPECT_EQ(source.ExpectedFrames(), AudioSource::endless);
    std::vector<float> read(mono.samples.size() * 4 + 300);
    ASSERT_EQ(source.Read(read), read.size() / 2);
    for (std::size_t i = 0; i < read.size(); ++i) {
        ASSERT_EQ(read[i], mono.samples[i / 2 % mono.samples.size()]) << i;
    }
    EXPECT_EQ(source.ReplacedSamples(), 12U) << "on two sides in three rounds";
}

TEST(AudioFile, UnreadableInputsAreNamedWithTheReason) {
    const TemporaryFolder folder;
    test::WriteText(folder / "empty.wav", "");
    test::WriteText(folder / "text.wav", "no audio at all, but long enough to look at");
    test::WriteSound(folder / "silent.wav", {44100, 2, {}});
    test::WriteSound(folder / "six.wav", Sine(300.0, 0.01, 44100, 6));
    test::WriteSound(folder / "slow.wav", Sine(3.0, 1.0, 100));
    test::WriteSound(folder / "cut.flac", test::Chord(1.0), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    std::filesystem::resize_file(folder / "cut.flac", std::filesystem::file_size(folder / "cut.flac") / 2);
    const std::pair<const char*, const char*> cases[] = {
        {"empty.wav", "empty"},          {"text.wav", "cannot be read as audio"},
        {"silent.wav", "no audio"},      {"six.wav", "6 channels"},
        {"missing.wav", "No such file"}, {"", "directory"},
        {"slow.wav", "rate of 100 Hz"},  {"cut.flac", "damaged"}};
    for (const auto& [name, reason] : cases) {
        try {
            AudioFileSource source(folder / name);
            ReadAll(source);
            ADD_FAILURE() << name << " was read";
        } catch (const FileError& error) {
            EXPECT_NE(std::string(error.what()).find(reason), std::string::npos) << error.what();
            EXPECT_TRUE(std::string(error.what()).starts_with((folder / name).string())) << error.what();
        }
    }
}

TEST(ResampledSource, KeepsPitchLevelTimeAndLength) {
    const TemporaryFolder folder;
    const std::pair<int, unsigned> rates[] = {
        {44100, 48000}, {48000, 44100}, {8000, 44100}, {96000, 44100}, {22050, 44100}};
    for (const auto& [from, to] : rates) {
        const Sound sound = Sine(1000.0, 0.2503, from);
        test::WriteSound(folder / "in.wav", sound);
        const auto source = AtRate(std::make_unique<AudioFileSource>(folder / "in.wav"), to);
        const std::uint64_t expected = source->ExpectedFrames();
        const std::vector<float> read = ReadAll(*source);
        EXPECT_EQ(read.size() / 2, expected) << from;
        EXPECT_NEAR(static_cast<double>(read.size() / 2) / to, sound.Seconds(), 0.51 / to) << from;
        // Away from both ends it is the same sine; a shift of a frame would be an error of 0.07.
        const Sound ideal = Sine(1000.0, 0.25, static_cast<int>(to));
        for (std::size_t i = 2000; i + 2000 < ideal.samples.size(); ++i) {
            ASSERT_NEAR(read[i], ideal.samples[i], 2e-4) << from << " to " << to << " sample " << i;
        }
    }
}

TEST(ResampledSource, TheSizeOfReadsDoesNotMatterAndRatesTooFarApartAreRefused) {
    const TemporaryFolder folder;
    test::WriteSound(folder / "in.wav", test::Chord(0.3, 48000));
    const auto open = [&](unsigned rate = 44100) {
        return AtRate(std::make_unique<AudioFileSource>(folder / "in.wav"), rate);
    };
    const std::vector<float> once = ReadAll(*open(), 100000);
    EXPECT_EQ(ReadAll(*open(), 1), once);
    EXPECT_EQ(ReadAll(*open(), 4410), once);
    EXPECT_THROW(open(48000 * 257), FileError);
}

/// The standard's own calibration: a sine of 997 Hz at 0 dBFS on both channels reads 0 LUFS (-3.01 + 3.01).
TEST(LoudnessMeter, MeasuresASineAsTheStandardSays) {
    LoudnessMeter meter(48000);
    const Sound sound = Sine(997.0, 2.0, 48000, 2, 0.1);
    meter.Add(sound.samples);
    ASSERT_TRUE(meter.IntegratedLoudness().has_value());
    EXPECT_NEAR(*meter.IntegratedLoudness(), -20.0, 0.1);
    EXPECT_NEAR(meter.SamplePeak(), 0.1, 1e-4);
    EXPECT_NEAR(meter.TruePeak(), 0.1, 1e-3);
    LoudnessMeter silence(44100);
    silence.Add(std::vector<float>(88200));
    EXPECT_FALSE(silence.IntegratedLoudness().has_value());
}

} // namespace

} // namespace orphia::host
