// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SampleReader.h"

#include "dsp/sampler/files/SndFileLibrary.h"
#include "rigs/LogRecorder.h"
#include "rigs/TestFiles.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace orphia::test;
using Velmora::dsp::SampleData;
using Velmora::dsp::SampleReader;
using Velmora::dsp::SampleRefusal;
using Velmora::dsp::SndFileLibrary;

constexpr int wav = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
constexpr int wavFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
constexpr int flac = SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
constexpr int aiff = SF_FORMAT_AIFF | SF_FORMAT_PCM_16;
constexpr int vorbis = SF_FORMAT_OGG | SF_FORMAT_VORBIS;
constexpr int opus = SF_FORMAT_OGG | SF_FORMAT_OPUS;
constexpr int mp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
constexpr int formats[] = {wav, wavFloat, flac, aiff, vorbis, opus, mp3};

class SampleReaderTest : public ::testing::Test {
protected:
    SampleReader::Result Read() const { return SampleReader(library, recorder.log).Read(path); }
    std::string_view Refusal() const { return Describe(Read().refusal); }
    /// Reads `bytes` as a file.
    SampleReader::Result Read(const std::string& bytes) const {
        WriteText(path, bytes);
        return Read();
    }
    /// The bytes of a sound file, and the file as well.
    std::string Write(int format, const Sound& sound) const {
        WriteSound(path, sound, format);
        return ReadText(path);
    }

    TemporaryFolder folder;
    // Any name that the system allows will do.
    std::string path = (folder / "\xFF\xC3 no text \xF0\x9F").string();
    mutable LogRecorder recorder;
    SndFileLibrary library{Velmora::Platform::SystemSoundFileLibrary()};
};

/// A sweep, on the other channel turned round.
Sound Sweep(int channels, std::size_t frames = 66150, int sampleRate = 48000) {
    const auto sweep = [](double time) { return 0.5 * std::sin(4000.0 * time * (1.0 + time)); };
    Sound sound = Generate(static_cast<double>(frames) / sampleRate, sampleRate, channels, sweep);
    sound.samples.resize(frames * static_cast<std::size_t>(channels)); // times are not exact
    for (std::size_t n = 1; channels > 1 && n < sound.samples.size(); n += 2) {
        sound.samples[n] *= -0.8F;
    }
    return sound;
}

/// Empty when `data` holds the first frames of `sound`, to the bit.
std::string DifferenceToHead(const SampleData& data, const Sound& sound) {
    const auto channels = static_cast<std::size_t>(data.ChannelCount());
    if (data.ChannelCount() != sound.channels || data.Frames() > sound.Frames()) {
        return std::to_string(channels) + " channels, " + std::to_string(data.Frames()) + " frames";
    }
    for (std::size_t n = 0; n < data.Frames() * channels; ++n) {
        const float sample = data.Channel(static_cast<unsigned>(n % channels))[n / channels];
        if (sample != sound.samples[n]) {
            return "sample " + std::to_string(n) + " is " + std::to_string(sample) + ", not " +
                   std::to_string(sound.samples[n]);
        }
    }
    return {};
}

/// Sets the 36 bits of a FLAC file's length.
std::string WithFlacFrames(std::string bytes, unsigned long long frames) {
    bytes[21] = static_cast<char>((bytes[21] & 0xF0) | static_cast<int>(frames >> 32U));
    for (unsigned i = 0; i < 4; ++i) {
        bytes[22 + i] = static_cast<char>(frames >> (24 - 8 * i));
    }
    return bytes;
}

TEST_F(SampleReaderTest, ReadsWhatLibsndfileReadsInEveryFormatAndOfCutFilesTheHead) {
    for (const int format : formats) {
        for (const int channels : {1, 2}) {
            const std::string whole = Write(format, Sweep(channels));
            const Sound expected = ReadSound(path);
            for (std::size_t part = 0; part <= 20; ++part) {
                const auto result = Read(whole.substr(0, whole.size() * part / 20));
                SCOPED_TRACE(::testing::Message() << std::hex << format << std::dec << ", cut at " << part
                                                  << "/20: " << Describe(result.refusal));
                EXPECT_EQ(result.data == nullptr, result.refusal != SampleRefusal::None);
                if (result.data != nullptr) {
                    EXPECT_EQ(DifferenceToHead(*result.data, expected), "");
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
        return [=, this] { Write(wavFloat, Sweep(channels, frames, rate)); };
    };
    const auto bytes = [this](const std::string& text) { return [=, this] { WriteText(path, text); }; };
    const std::string someFlac = Write(flac, Sweep(2, 3000));
    std::string someWav = Write(wav, Sweep(1, 3000));
    std::string noRate = someWav;
    noRate.replace(24, 4, 4, '\0');
    struct Case {
        const char* name;
        std::function<void()> make;
        SampleRefusal expected;
    };
    const Case cases[] = {
        {"missing", [] {}, SampleRefusal::NotAFile},
        {"a folder", [this] { mkdir(path.c_str(), 0700); }, SampleRefusal::NotAFile},
        {"a pipe that nobody fills", [this] { mkfifo(path.c_str(), 0600); }, SampleRefusal::NotAFile},
        {"a device", [this] { std::filesystem::create_symlink("/dev/zero", path); }, SampleRefusal::NotAFile},
        {"nothing in it", bytes(""), SampleRefusal::NotReadable},
        {"text", bytes("RIFF is what it is not"), SampleRefusal::NotReadable},
        {"a rate of 0", bytes(noRate), SampleRefusal::NotReadable},
        {"no frames", sound(1, 0, 44100), SampleRefusal::Empty},
        {"3 channels", sound(3, 1000, 44100), SampleRefusal::ChannelCount},
        {"64 channels", sound(64, 1000, 44100), SampleRefusal::ChannelCount},
        {"44 frames of 44.1 kHz", sound(2, 44, 44100), SampleRefusal::TooShort},
        {"45 frames of 44.1 kHz", sound(2, 45, 44100), SampleRefusal::None},
        {"just a millisecond", sound(1, 1, 1000), SampleRefusal::TooShort},
        {"1 Hz", sound(1, 1, 1), SampleRefusal::None},
        {"10 MHz, short", sound(1, 9999, 10000000), SampleRefusal::TooShort},
        {"10 MHz, long enough", sound(1, 10001, 10000000), SampleRefusal::None},
        {"2^31 frames promised", bytes(WithFlacFrames(someFlac, 1ULL << 31U)), SampleRefusal::TooLong},
        {"2^26 frames promised", bytes(WithFlacFrames(someFlac, 1ULL << 26U)), SampleRefusal::Truncated},
        {"one frame too many promised", bytes(WithFlacFrames(someFlac, 3001)), SampleRefusal::Truncated},
        {"FLAC of unknown length", bytes(WithFlacFrames(someFlac, 0)), SampleRefusal::None},
        // libsndfile itself sees through this one.
        {"WAV of 2^31 bytes", bytes(someWav.replace(40, 4, "\0\0\0\x80", 4)), SampleRefusal::None},
    };
    for (const Case& test : cases) {
        std::filesystem::remove_all(path);
        test.make();
        const auto result = Read();
        EXPECT_EQ(Describe(result.refusal), Describe(test.expected)) << test.name;
        EXPECT_EQ(result.data != nullptr, test.expected == SampleRefusal::None) << test.name;
        EXPECT_EQ(result.reason.empty(), result.refusal != SampleRefusal::NotReadable || result.channelCount)
            << test.name << ": " << result.reason;
    }
    EXPECT_EQ(Read(WithFlacFrames(someFlac, 0)).data->Frames(), 3000U) << "not read to its end";
}

TEST_F(SampleReaderTest, AFileThatShrinksWhileItIsReadKeepsNothing) {
    for (const int format : {wav, wavFloat, flac, aiff, vorbis}) {
        for (const int channels : {1, 2}) {
            Write(format, Sweep(channels, 200000));
            int calls = 0;
            library.sfReadfFloat = [&](SNDFILE* file, float* samples, sf_count_t frames) {
                if (++calls == 2) {
                    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
                }
                return sf_readf_float(file, samples, frames);
            };
            EXPECT_EQ(Refusal(), Describe(SampleRefusal::Truncated)) << std::hex << format;
            EXPECT_GE(calls, 2) << std::hex << format;
        }
    }
}

TEST_F(SampleReaderTest, AnEndlessStreamIsTooLongAndHeldToTheLimit) {
    for (const int channels : {1, 2}) {
        WriteText(path, WithFlacFrames(Write(flac, Sweep(channels, 1000)), 0));
        sf_count_t sum = 0;
        library.sfReadfFloat = [&](SNDFILE*, float* samples, sf_count_t frames) {
            std::fill_n(samples, frames * channels, 0.25F);
            sum += frames;
            return frames;
        };
        constexpr std::size_t limit = std::size_t{1} << 20U;
        const auto frameLimit = static_cast<sf_count_t>(limit / sizeof(float)) / channels;
        const auto result = SampleReader(library, recorder.log, limit).Read(path);
        EXPECT_EQ(Describe(result.refusal), Describe(SampleRefusal::TooLong));
        EXPECT_EQ(sum, frameLimit + 1);
    }
}

TEST_F(SampleReaderTest, WhatIsNoNumberIsSilence) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float greatest = std::numeric_limits<float>::max();
    for (const int channels : {1, 2}) {
        Sound sound = Sweep(channels, 2000);
        Sound expected = sound;
        std::size_t place = 700; // on either channel by turns
        for (const float value : {std::nanf(""), infinity, -infinity, -std::nanf(""), greatest, -greatest}) {
            place += 201;
            sound.samples[place] = value;
            expected.samples[place] = std::isfinite(value) ? value : 0.0F;
        }
        Write(wavFloat, sound);
        const auto result = Read();
        ASSERT_NE(result.data, nullptr);
        EXPECT_EQ(DifferenceToHead(*result.data, expected), "") << channels << " channels";
    }
}

TEST_F(SampleReaderTest, TheInstrumentRecordIsTheFilesOrZero) {
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 1;
    info.format = wav;
    SF_INSTRUMENT written{};
    written.basenote = 61;
    written.loop_count = 1;
    written.loops[0] = {SF_LOOP_FORWARD, 10, 90, 0};
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    sf_command(file, SFC_SET_INSTRUMENT, &written, sizeof written);
    sf_write_float(file, Sweep(1, 100).samples.data(), 100);
    sf_close(file);
    SF_INSTRUMENT read{};
    std::memcpy(&read, Read().data->InstrumentRecord().data(), sizeof read);
    EXPECT_EQ(read.basenote, 61);
    EXPECT_EQ(read.loops[0].start, 10U);
    Write(wav, Sweep(1, 100));
    EXPECT_EQ(Read().data->InstrumentRecord(), SampleData::Instrument{});
}

TEST_F(SampleReaderTest, LogsTheOpenAndAFailingClose) {
    recorder.log.SetThreshold("audio_engine", Velmora::LogLevel::Info);
    Read("no sound");
    Write(wav, Sweep(2, 100));
    library.sfClose = [](SNDFILE* file) { return sf_close(file) + 1; };
    EXPECT_NE(Read().data, nullptr);
    const std::string opened = "audio_engine |    info | libsndfile: Opened sample file " + path;
    EXPECT_EQ(recorder.Tails(),
              (std::vector<std::string>{
                  opened, opened, "audio_engine |   error | libsndfile: error while closing sample file"}));
}

TEST_F(SampleReaderTest, WhatRaisesLeavesNoFileOpen) {
    class Raiser : public Velmora::ILogListener {
        void OnLogLine(std::string_view /*line*/) override { throw std::bad_alloc(); }
    } raiser;
    Write(wav, Sweep(2, 100));
    int open = 0;
    library.sfOpen = [&](const char* name, int mode, SF_INFO* info) {
        ++open;
        return sf_open(name, mode, info);
    };
    library.sfClose = [&](SNDFILE* file) {
        --open;
        return sf_close(file);
    };
    recorder.log.SetThreshold("audio_engine", Velmora::LogLevel::Info);
    recorder.log.SetListener(&raiser);
    EXPECT_THROW(Read(), std::bad_alloc);
    EXPECT_EQ(open, 0);
    recorder.log.SetListener(nullptr);
    library.sfReadfFloat = nullptr;
    EXPECT_THROW(Read(), std::bad_function_call);
    library.sfClose = nullptr;
    EXPECT_THROW(Read(), std::bad_function_call);
    EXPECT_EQ(open, 0);
}

} // namespace
