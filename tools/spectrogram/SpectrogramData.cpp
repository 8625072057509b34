// SPDX-License-Identifier: GPL-3.0-or-later
// orphia-spectrogram: the short-time spectrum of a sound file as gnuplot's binary matrix
// (32-bit floats; columns time in s, rows frequency in kHz, values in dB). Prints the duration in s.
#include <fftw3.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <numbers>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t windowSize = 2048;
constexpr std::size_t hop = 512;
constexpr std::size_t numBins = windowSize / 2 + 1;
constexpr double highestHz = 10000.0;
constexpr float floorDb = -100.0f;

struct Sound {
    std::size_t channels = 0;
    double sampleRate = 0.0;
    std::vector<float> interleaved;

    std::size_t Frames() const { return interleaved.size() / channels; }
};

Sound Load(const std::string& path) {
    SF_INFO info = {};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(sf_open(path.c_str(), SFM_READ, &info), sf_close);
    if (!file) {
        throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    }
    Sound sound{static_cast<std::size_t>(info.channels), static_cast<double>(info.samplerate), {}};
    sound.interleaved.resize(static_cast<std::size_t>(info.frames) * sound.channels);
    const sf_count_t read = sf_readf_float(file.get(), sound.interleaved.data(), info.frames);
    sound.interleaved.resize(static_cast<std::size_t>(read) * sound.channels);
    return sound;
}

/// The power spectrum of one window; a sine of full scale reaches 1 in its bin.
class Analyzer {
public:
    Analyzer()
        : input(fftwf_alloc_real(windowSize), fftwf_free), output(fftwf_alloc_complex(numBins), fftwf_free),
          plan(fftwf_plan_dft_r2c_1d(static_cast<int>(windowSize), input.get(), output.get(), FFTW_ESTIMATE),
               fftwf_destroy_plan) {
        for (std::size_t i = 0; i < windowSize; ++i) {
            const double turn = 2.0 * std::numbers::pi * static_cast<double>(i) / windowSize;
            window[i] = static_cast<float>((1.0 - std::cos(turn)) * 2.0 / windowSize);
        }
    }

    /// Adds the spectrum of the window centred on frame `centre` of one channel to `power`.
    void AddPower(const Sound& sound, std::size_t channel, std::size_t centre, std::span<float> power) {
        for (std::size_t i = 0; i < windowSize; ++i) {
            const std::size_t frame = centre + i - windowSize / 2; // wraps to a huge number before the start
            const bool inside = frame < sound.Frames();
            input[i] = inside ? window[i] * sound.interleaved[frame * sound.channels + channel] : 0.0f;
        }
        fftwf_execute(plan.get());
        for (std::size_t bin = 0; bin < power.size(); ++bin) {
            const fftwf_complex& value = output[bin];
            power[bin] += value[0] * value[0] + value[1] * value[1];
        }
    }

private:
    std::vector<float> window = std::vector<float>(windowSize);
    std::unique_ptr<float[], void (*)(void*)> input;
    std::unique_ptr<fftwf_complex[], void (*)(void*)> output;
    std::unique_ptr<fftwf_plan_s, void (*)(fftwf_plan)> plan;
};

/// One row of levels in dB per window, the channels' powers averaged.
std::vector<std::vector<float>> Levels(const Sound& sound, std::size_t bins) {
    Analyzer analyzer;
    std::vector<std::vector<float>> levels;
    for (std::size_t centre = 0; centre < sound.Frames(); centre += hop) {
        std::vector<float> row(bins);
        for (std::size_t channel = 0; channel < sound.channels; ++channel) {
            analyzer.AddPower(sound, channel, centre, row);
        }
        for (float& value : row) {
            const float power = value / static_cast<float>(sound.channels);
            value = std::max(floorDb, 10.0f * std::log10(std::max(power, 1e-20f)));
        }
        levels.push_back(std::move(row));
    }
    return levels;
}

void Write(const std::string& path, const std::vector<std::vector<float>>& levels, double sampleRate) {
    std::ofstream file(path, std::ios::binary);
    const auto put = [&file](double value) {
        const auto narrow = static_cast<float>(value);
        file.write(reinterpret_cast<const char*>(&narrow), sizeof narrow);
    };
    put(static_cast<double>(levels.size()));
    for (std::size_t i = 0; i < levels.size(); ++i) {
        put(static_cast<double>(i * hop) / sampleRate);
    }
    for (std::size_t bin = 0; bin < levels.front().size(); ++bin) {
        put(static_cast<double>(bin) * sampleRate / windowSize * 0.001);
        for (const std::vector<float>& row : levels) {
            put(static_cast<double>(row[bin]));
        }
    }
    if (!file.flush()) {
        throw std::runtime_error(path + ": cannot be written");
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: orphia-spectrogram SOUND OUTPUT\n";
        return 2;
    }
    try {
        const Sound sound = Load(argv[1]);
        if (sound.interleaved.empty()) {
            throw std::runtime_error(std::string(argv[1]) + ": is empty");
        }
        const double bins = std::ceil(highestHz / sound.sampleRate * windowSize) + 1.0;
        Write(argv[2], Levels(sound, std::min(numBins, static_cast<std::size_t>(bins))), sound.sampleRate);
        std::cout << static_cast<double>(sound.Frames()) / sound.sampleRate << '\n';
    } catch (const std::exception& error) {
        std::cerr << "orphia-spectrogram: " << error.what() << '\n';
        return 1;
    }
}
