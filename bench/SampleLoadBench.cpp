// SPDX-License-Identifier: GPL-3.0-or-later
// Loading a sample of 20 s against plain libsndfile reading the same file into one vector, by turns, both
// into memory that the process did not have before, as a new sample does.
#include "dsp/sampler/files/SampleReader.h"
#include "dsp/sampler/files/SndFileLibrary.h"
#include "support/platform/Platform.h"

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sndfile.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <random>
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
    std::string path = (std::filesystem::temp_directory_path() /
                        ("orphia-sample-load-" + std::to_string(std::random_device()())))
                           .string();
};

/// Seconds that the thread ran. Gives back first what is freed, which would otherwise be used again.
template <class F>
double TimeInFreshMemory(F load) {
    malloc_trim(0);
    const Velmora::u64 start = Velmora::Platform::ThreadNanoseconds();
    load();
    return static_cast<double>(Velmora::Platform::ThreadNanoseconds() - start) * 1e-9;
}

void LoadPlain(const std::string& path) {
    const SndFileLibrary& library = SndFileLibrary::GetInstance();
    SF_INFO info{};
    SNDFILE* handle = library.sfOpen(path.c_str(), SFM_READ, &info);
    std::vector<float> samples(static_cast<std::size_t>(info.frames * info.channels));
    benchmark::DoNotOptimize(library.sfReadfFloat(handle, samples.data(), info.frames));
    library.sfClose(handle);
}

void Load(benchmark::State& state) {
    const auto container = static_cast<std::size_t>(state.range(0));
    const SoundFile file(containers[container], static_cast<int>(state.range(1)));
    const Velmora::dsp::SampleReader reader;
    double plain = 0.0;
    bool isLoaded = true;
    for (auto _ : state) {
        state.SetIterationTime(TimeInFreshMemory([&] {
            const auto result = reader.Read(file.path);
            isLoaded = isLoaded && result.data != nullptr && result.data->Frames() == rate * seconds;
        }));
        plain += TimeInFreshMemory([&] { LoadPlain(file.path); });
    }
    if (!isLoaded) {
        state.SkipWithError("not loaded");
    }
    state.counters["s/plain"] = benchmark::Counter(plain, benchmark::Counter::kAvgIterations);
    state.SetLabel(std::string(names[container]) + (state.range(1) == 1 ? " mono" : " stereo"));
}

BENCHMARK(Load)
    ->Name("Sample load")
    ->ArgsProduct({{0, 1, 2}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

} // namespace
