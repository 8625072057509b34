// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/audio/AudioFileSource.h"
#include "host/audio/AudioFileWriter.h"
#include "host/audio/LoudnessMeter.h"
#include "host/audio/ResampledSource.h"
#include "host/common/Errors.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

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

void ExpectSame(const std::vector<float>& sound, const std::vector<float>& expected, double tolerance,
                std::size_t margin = 0) {
    for (std::size_t i = margin; i + margin < expected.size(); ++i) {
        ASSERT_NEAR(sound[i], expected[i], tolerance) << "sample " << i;
    }
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
        SCOPED_TRACE(name);
        AudioFileWriter writer(folder / name, 44100, format);
        writer.Write(std::span(sound.samples).first(1000));
        writer.Write(std::span(sound.samples).subspan(1000));
        EXPECT_FALSE(std::filesystem::exists(folder / name));
        writer.Finish();
        AudioFileSource source(folder / name);
        EXPECT_EQ(source.SampleRate(), 44100U);
        EXPECT_EQ(source.ExpectedFrames(), sound.Frames());
        const std::vector<float> read = ReadAll(source);
        ASSERT_EQ(read.size(), sound.samples.size());
        ExpectSame(read, sound.samples, tolerance);
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

/// As recordings of telephones are.
TEST(AudioFile, WhatHasNoHeaderIsKnownByTheEndingOfItsName) {
    const TemporaryFolder folder;
    test::WriteSound(folder / "call.gsm", Sine(500.0, 0.2, 8000, 1), SF_FORMAT_RAW | SF_FORMAT_GSM610);
    const std::vector<float> expected = test::ReadSound(folder / "call.gsm").samples;
    AudioFileSource source(folder / "call.gsm");
    EXPECT_EQ(source.SampleRate(), 8000U);
    const std::vector<float> read = ReadAll(source);
    ASSERT_GE(expected.size(), 1600U);
    ASSERT_EQ(read.size(), 2 * expected.size());
    for (std::size_t i = 0; i < read.size(); ++i) {
        ASSERT_EQ(read[i], expected[i / 2]) << i;
    }
}

TEST(ResampledSource, KeepsPitchLevelTimeAndLengthWhateverIsReadAtOnce) {
    const TemporaryFolder folder;
    for (const auto& [from, to] :
         {std::pair{44100, 48000U}, {48000, 44100U}, {8000, 44100U}, {96000, 44100U}}) {
        SCOPED_TRACE(from);
        const Sound sound = Sine(1000.0, 0.2503, from);
        test::WriteSound(folder / "in.wav", sound);
        const auto open = [&](unsigned rate) {
            return AtRate(std::make_unique<AudioFileSource>(folder / "in.wav"), rate);
        };
        const std::vector<float> read = ReadAll(*open(to));
        EXPECT_EQ(read.size() / 2, open(to)->ExpectedFrames());
        EXPECT_NEAR(static_cast<double>(read.size() / 2) / to, sound.Seconds(), 0.51 / to);
        // Away from both ends it is the same sine; a shift of a frame would be an error of 0.07.
        ExpectSame(read, Sine(1000.0, 0.25, static_cast<int>(to)).samples, 2e-4, 2000);
        EXPECT_EQ(ReadAll(*open(to), 100000), read);
        EXPECT_EQ(ReadAll(*open(to), 1), read);
        EXPECT_THROW(open(static_cast<unsigned>(from) * 257), FileError);
    }
}

/// The standard's own calibration: a sine of 997 Hz at 0 dBFS on both channels reads 0 LUFS (-3.01 + 3.01).
TEST(LoudnessMeter, MeasuresASineAsTheStandardSays) {
    LoudnessMeter meter(48000);
    meter.Add(Sine(997.0, 2.0, 48000, 2, 0.1).samples);
    EXPECT_NEAR(meter.IntegratedLoudness().value_or(0.0), -20.0, 0.1);
    EXPECT_NEAR(meter.SamplePeak(), 0.1, 1e-4);
    EXPECT_NEAR(meter.TruePeak(), 0.1, 1e-3);
    LoudnessMeter silence(44100);
    silence.Add(std::vector<float>(88200));
    EXPECT_FALSE(silence.IntegratedLoudness().has_value());
}

} // namespace

} // namespace orphia::host
