// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes at all as a sample file. scripts/fuzz runs this for as long as one likes; the normal suite runs
// it over the files of the corpus.
#include "dsp/SampleReader.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using Velmora::dsp::SampleData;
using Velmora::dsp::SampleReader;
using Velmora::dsp::SampleRefusal;

void Require(bool holds, const char* otherwise) {
    if (!holds) {
        std::fprintf(stderr, "sample reader: %s\n", otherwise);
        std::abort();
    }
}

/// A file without a place on the disk.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : descriptor(memfd_create("sample", MFD_CLOEXEC)) {
        Require(descriptor >= 0 && write(descriptor, data, size) == static_cast<ssize_t>(size), "no file");
    }
    ~MemoryFile() { close(descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    int descriptor;
};

void CheckSample(const SampleReader::Result& result) {
    const SampleData& data = *result.data;
    const auto channels = static_cast<std::uint32_t>(data.ChannelCount());
    Require(channels == 1 || channels == 2, "neither mono nor stereo");
    Require(data.ChannelCount() == result.channelCount, "not the channels of the header");
    Require(data.SampleRate() == static_cast<float>(result.sampleRate), "not the rate of the header");
    Require(data.SampleRate() > 0.0F, "no rate");
    Require(data.Frames() > 0 && data.Frames() <= result.frames, "more frames than the header has, or none");
    Require((data.Channel(1) != nullptr) == (channels == 2), "the wrong channel");
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        for (std::uint32_t n = 0; n < data.Frames() + SampleData::guardFrames; ++n) {
            Require(std::isfinite(data.Channel(channel)[n]), "a sample is no finite number");
        }
    }
}

} // namespace

// The name that the fuzzer's main calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const SampleReader reader;
    const MemoryFile file(data, size);
    const SampleReader::Result result = reader.Read(file.Path());
    const bool isRead = result.data != nullptr;
    Require(isRead == (result.refusal == SampleRefusal::None), "neither a sample nor a refusal");
    if (isRead) {
        CheckSample(result);
    }
    return 0;
}
