// SPDX-License-Identifier: GPL-3.0-or-later
// Loading a sample of 20 s against plain libsndfile reading the same file into one vector, both into memory
// that the process did not have before, as a new sample does.
#include "dsp/SampleReader.h"
#include "dsp/SndFileLibrary.h"

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sndfile.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr int rate = 44100;
constexpr int seconds = 20;
constexpr int containers[] = {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_WAV | SF_FORMAT_FLOAT,
                              SF_FORMAT_FLAC | SF_FORMAT_PCM_16};
constexpr std::array names = {"WAV 16 bit", "WAV float", "FLAC 16 bit"};

using Velmora::dsp::SndFileLibrary;

/// A file for one benchmark, which goes with it.
class SoundFile {
public:
    SoundFile(int format, int channelCount) : channels(channelCount) {
        const SndFileLibrary& library = SndFileLibrary::GetInstance();
        SF_INFO info{};
        info.samplerate = rate;
        info.channels = channels;
        info.format = format;
        std::vector<float> sound(static_cast<std::size_t>(rate * seconds * channels));
        for (std::size_t n = 0; n < sound.size(); ++n) {
            sound[n] = 0.5F * std::sin(0.01F * static_cast<float>(n % 100000));
        }
        SNDFILE* file = library.sfOpen(path.c_str(), SFM_WRITE, &info);
        library.sfWritefFloat(file, sound.data(), rate * seconds);
        library.sfClose(file);
    }
    ~SoundFile() { std::filesystem::remove(path); }
    SoundFile(const SoundFile&) = delete;
    SoundFile& operator=(const SoundFile&) = delete;

    int channels;
    std::string path = (std::filesystem::temp_directory_path() / "orphia-sample-load").string();
};

/// Gives back what is freed at once, instead of keeping it for the next round.
void TakeFreshMemory() {
    mallopt(M_MMAP_THRESHOLD, 128 << 10);
    mallopt(M_TRIM_THRESHOLD, 128 << 10);
}

void Label(benchmark::State& state) {
    state.SetLabel(std::string(names[static_cast<std::size_t>(state.range(0))]) +
                   (state.range(1) == 1 ? " mono" : " stereo"));
}

void Ours(benchmark::State& state) {
    const SoundFile file(containers[state.range(0)], static_cast<int>(state.range(1)));
    const Velmora::dsp::SampleReader reader;
    TakeFreshMemory();
    for (auto _ : state) {
        const auto result = reader.Read(file.path);
        if (result.data == nullptr || result.data->Frames() != rate * seconds) {
            state.SkipWithError("not loaded");
        }
    }
    Label(state);
}

void Plain(benchmark::State& state) {
    const SoundFile file(containers[state.range(0)], static_cast<int>(state.range(1)));
    const SndFileLibrary& library = SndFileLibrary::GetInstance();
    TakeFreshMemory();
    for (auto _ : state) {
        SF_INFO info{};
        SNDFILE* handle = library.sfOpen(file.path.c_str(), SFM_READ, &info);
        std::vector<float> samples(static_cast<std::size_t>(info.frames * info.channels));
        benchmark::DoNotOptimize(library.sfReadfFloat(handle, samples.data(), info.frames));
        library.sfClose(handle);
    }
    Label(state);
}

BENCHMARK(Ours)->Name("Sample load")->ArgsProduct({{0, 1, 2}, {1, 2}})->Unit(benchmark::kMillisecond);
BENCHMARK(Plain)
    ->Name("Sample load, plain libsndfile")
    ->ArgsProduct({{0, 1, 2}, {1, 2}})
    ->Unit(benchmark::kMillisecond);

} // namespace
