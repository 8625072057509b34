// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SampleReader.h"

#include "dsp/sampler/files/SndFileLibrary.h"
#include "rigs/LogRecorder.h"
#include "rigs/TestFiles.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <limits>

namespace {

using namespace orphia::test;
using namespace Velmora::dsp;

constexpr int wav = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
constexpr int wavFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
constexpr int flac = SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
constexpr int mp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;

class SampleReaderTest : public ::testing::Test {
protected:
    SampleReader::Result Read() const { return SampleReader(library, recorder.log).Read(path); }
    /// A sweep, turned round on further channels.
    Sound Write(int format, int channels, std::size_t frames = 66150, int rate = 48000) const {
        Sound sound{rate, channels, std::vector<float>(frames * static_cast<std::size_t>(channels))};
        for (std::size_t n = 0; n < sound.samples.size(); ++n) {
            const double time = static_cast<double>(n / static_cast<std::size_t>(channels)) / 48000.0;
            sound.samples[n] = static_cast<float>(0.5 * std::sin(4000.0 * time * (1.0 + time))) *
                               (n % static_cast<std::size_t>(channels) == 0 ? 1.0F : -0.8F);
        }
        WriteSound(path, sound, format);
        return sound;
    }
    /// A FLAC file that tells another length than its 3000 frames; 0 is unknown.
    std::string Promising(unsigned long long frames) const {
        Write(flac, 2, 3000);
        std::string bytes = ReadText(path);
        bytes[21] = static_cast<char>((bytes[21] & 0xF0) | static_cast<int>(frames >> 32U));
        for (unsigned i = 0; i < 4; ++i) {
            bytes[22 + i] = static_cast<char>(frames >> (24 - 8 * i));
        }
        return bytes;
    }

    TemporaryFolder folder;
    // Any name that the system allows will do.
    std::string path = (folder / "\xFF\xC3 no text \xF0\x9F").string();
    mutable LogRecorder recorder;
    SndFileLibrary library{Velmora::Platform::SystemSoundFileLibrary()};
};

void ExpectHeadOf(const SampleData& data, const Sound& sound) {
    const auto channels = static_cast<std::size_t>(data.ChannelCount());
    ASSERT_EQ(data.ChannelCount(), sound.channels);
    ASSERT_LE(data.Frames(), sound.Frames());
    for (std::size_t n = 0; n < data.Frames() * channels; ++n) {
        ASSERT_EQ(data.Channel(static_cast<unsigned>(n % channels))[n / channels], sound.samples[n]) << n;
    }
    EXPECT_EQ(data.Channel(0)[data.Frames() + 3], data.Channel(0)[data.Frames() - 1]) << "the guard";
}

TEST_F(SampleReaderTest, ReadsWhatLibsndfileReadsInEveryFormatAndOfCutFilesTheHead) {
    for (const int format : {wav, wavFloat, flac, SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
                             SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_OGG | SF_FORMAT_OPUS, mp3}) {
        for (const int channels : {1, 2}) {
            Write(format, channels);
            const std::string whole = ReadText(path);
            const Sound expected = ReadSound(path);
            for (std::size_t part = 0; part <= 20; ++part) {
                WriteText(path, whole.substr(0, whole.size() * part / 20));
                const auto result = Read();
                SCOPED_TRACE(::testing::Message() << std::hex << format << " part " << part);
                EXPECT_EQ(result.data == nullptr, result.refusal != SampleRefusal::None);
                if (result.data != nullptr) {
                    ExpectHeadOf(*result.data, expected);
                    EXPECT_EQ(result.data->SampleRate(), 48000.0F);
                }
                // The length of an MP3 is no promise.
                if (part == 20 || (part == 15 && format == mp3)) {
                    ASSERT_NE(result.data, nullptr);
                    EXPECT_EQ(result.data->Frames() == expected.Frames(), part == 20);
                    EXPECT_GT(result.data->Frames(), expected.Frames() / 2);
                }
            }
        }
    }
}

TEST_F(SampleReaderTest, RefusesWhatIsNoSampleAndSaysWhy) {
    const auto sound = [this](int channels, std::size_t frames, int rate) {
        return [=, this] { Write(wavFloat, channels, frames, rate); };
    };
    const auto bytes = [this](const std::string& text) { return [=, this] { WriteText(path, text); }; };
    Write(wav, 1, 3000);
    std::string noRate = ReadText(path);
    noRate.replace(24, 4, 4, '\0');
    const std::tuple<const char*, std::function<void()>, SampleRefusal> cases[] = {
        {"a pipe that nobody fills", [this] { mkfifo(path.c_str(), 0600); }, SampleRefusal::NotAFile},
        {"a device", [this] { std::filesystem::create_symlink("/dev/zero", path); }, SampleRefusal::NotAFile},
        {"a rate of 0", bytes(noRate), SampleRefusal::NotReadable},
        {"no frames", sound(1, 0, 44100), SampleRefusal::Empty},
        {"44 frames of 44.1 kHz", sound(2, 44, 44100), SampleRefusal::TooShort},
        {"45 frames of 44.1 kHz", sound(2, 45, 44100), SampleRefusal::None},
        {"1 Hz", sound(1, 1, 1), SampleRefusal::None},
        {"2^31 frames promised", bytes(Promising(1ULL << 31U)), SampleRefusal::TooLong},
        {"one frame too many promised", bytes(Promising(3001)), SampleRefusal::Truncated},
        {"FLAC of unknown length", bytes(Promising(0)), SampleRefusal::None}};
    const auto openFiles = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = openFiles();
    for (const auto& [name, make, expected] : cases) {
        std::filesystem::remove_all(path);
        make();
        const auto result = Read();
        EXPECT_EQ(Describe(result.refusal), Describe(expected)) << name;
        EXPECT_EQ(result.data != nullptr, expected == SampleRefusal::None) << name;
        EXPECT_EQ(result.reason.empty(), expected != SampleRefusal::NotReadable || result.channelCount)
            << name;
        EXPECT_EQ(openFiles(), before) << name;
    }
    EXPECT_EQ(Read().data->Frames(), 3000U) << "read to its end, though that is not told";
}

TEST_F(SampleReaderTest, AFileThatShrinksWhileItIsReadOrNeverEndsGivesNothing) {
    sf_count_t sum = 0;
    Write(flac, 2, 200000);
    library.sfReadfFloat = [&](SNDFILE* file, float* samples, sf_count_t frames) {
        if (std::exchange(sum, 1) == 0) {
            std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
        }
        return sf_readf_float(file, samples, frames);
    };
    EXPECT_EQ(Read().refusal, SampleRefusal::Truncated);
    WriteText(path, Promising(0));
    sum = 0;
    library.sfReadfFloat = [&](SNDFILE*, float*, sf_count_t frames) {
        sum += frames;
        return frames;
    };
    EXPECT_EQ(SampleReader(library, recorder.log, 1U << 20U).Read(path).refusal, SampleRefusal::TooLong);
    EXPECT_EQ(sum, (1 << 17) + 1) << "held to the limit";
}

TEST_F(SampleReaderTest, WhatIsNoNumberIsSilence) {
    Sound sound = Write(wavFloat, 2, 2000);
    Sound expected = sound;
    constexpr float infinity = std::numeric_limits<float>::infinity();
    for (const auto& [place, fault] :
         {std::pair{901U, std::nanf("")}, {1102U, infinity}, {1303U, -infinity}}) {
        sound.samples[place] = fault;
        expected.samples[place] = 0.0F;
    }
    WriteSound(path, sound, wavFloat);
    ExpectHeadOf(*Read().data, expected);
}

} // namespace
