// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <numbers>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Files for the tests of host and tools, made and read without the code under test.
namespace orphia::test {

/// A folder of its own, which goes with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::random_device random;
        folder = std::filesystem::temp_directory_path() / ("orphia-test-" + std::to_string(random()));
        std::filesystem::create_directory(folder);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return folder / name; }
    const std::filesystem::path& Path() const { return folder; }

    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::filesystem::path folder;
};

struct Sound {
    int sampleRate = 44100;
    int channels = 2;
    std::vector<float> samples;

    std::size_t Frames() const { return samples.size() / static_cast<std::size_t>(channels); }
    /// The largest magnitude; infinite when some sample is not finite.
    float Peak() const {
        float peak = 0.0F;
        for (const float sample : samples) {
            peak = std::max(peak, std::isfinite(sample) ? std::abs(sample) : HUGE_VALF);
        }
        return peak;
    }
    Sound operator-(const Sound& other) const {
        Sound rest = *this;
        std::transform(samples.begin(), samples.end(), other.samples.begin(), rest.samples.begin(),
                       std::minus<float>());
        return rest;
    }
    double Seconds() const { return static_cast<double>(Frames()) / sampleRate; }
    /// Over both channels, between two times in seconds.
    double Rms(double from = 0.0, double to = 1e9) const {
        double sum = 0.0;
        double count = 0.0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double time = static_cast<double>(i / static_cast<std::size_t>(channels)) / sampleRate;
            if (time >= from && time < to) {
                sum += static_cast<double>(samples[i]) * samples[i];
                count += 1.0;
            }
        }
        return std::sqrt(sum / count);
    }
    /// The left side of stereo between two times, or to its end.
    std::vector<float> Left(double from, double to) const {
        std::vector<float> left;
        for (auto n = static_cast<std::size_t>(from * sampleRate);
             n < std::min(Frames(), static_cast<std::size_t>(to * sampleRate)); ++n) {
            left.push_back(samples[2 * n]);
        }
        return left;
    }
};

inline void WriteSound(const std::filesystem::path& path, const Sound& sound,
                       int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT) {
    SF_INFO info{};
    info.samplerate = sound.sampleRate;
    info.channels = sound.channels;
    info.format = format;
    SNDFILE* file = sf_open(path.string().c_str(), SFM_WRITE, &info);
    sf_write_float(file, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
    sf_close(file);
}

/// Nothing but its defaults when the file cannot be read.
inline Sound ReadSound(const std::filesystem::path& path) {
    SF_INFO info{};
    Sound sound;
    if (SNDFILE* file = sf_open(path.string().c_str(), SFM_READ, &info)) {
        sound = {info.samplerate, info.channels, {}};
        sound.samples.resize(static_cast<std::size_t>(info.frames * info.channels));
        sf_read_float(file, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
        sf_close(file);
    }
    return sound;
}

/// The same on every channel, by a function of the time in seconds.
template <class F>
Sound Generate(double seconds, int sampleRate, int channels, F&& sampleAt) {
    Sound sound{sampleRate, channels, {}};
    for (std::size_t n = 0; n < static_cast<std::size_t>(seconds * sampleRate); ++n) {
        sound.samples.insert(sound.samples.end(), static_cast<std::size_t>(channels),
                             static_cast<float>(sampleAt(static_cast<double>(n) / sampleRate)));
    }
    return sound;
}

inline Sound Sine(double hertz, double seconds, int sampleRate = 44100, int channels = 2,
                  double level = 0.5) {
    return Generate(seconds, sampleRate, channels,
                    [=](double time) { return level * std::sin(2.0 * std::numbers::pi * hertz * time); });
}

/// A plain speech: syllables of soft pulses at 120 Hz, with bursts of bright noise between them, from 0.18 s
/// to 0.25 s of every 0.3 s.
inline Sound Syllables(double seconds, int sampleRate = 44100) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> white(-1.0, 1.0);
    double noise = 0.0;
    return Generate(seconds, sampleRate, 2, [&](double time) {
        const double inSyllable = std::fmod(time, 0.3);
        const double inPeriod = std::fmod(time * 120.0, 1.0);
        const double noiseBefore = std::exchange(noise, white(random));
        if (inSyllable < 0.18) {
            return 1.2 * inPeriod * std::exp(-16.0 * inPeriod) * 20.0 - 0.09;
        }
        return inSyllable < 0.25 ? 0.1 * (noise - noiseBefore) : 0.0;
    });
}

/// Three sawtooth voices.
inline Sound Chord(double seconds, int sampleRate = 44100) {
    const auto saw = [](double phase) { return 0.25 * (std::fmod(phase, 1.0) - 0.5); };
    return Generate(seconds, sampleRate, 2,
                    [saw](double time) { return saw(110.0 * time) + saw(164.8 * time) + saw(277.2 * time); });
}

inline std::string ReadText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteText(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::vector<std::string> Split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    for (std::size_t at = 0, end = 0; at <= text.size(); at = end + separator.size()) {
        end = std::min(text.find(separator, at), text.size());
        parts.push_back(text.substr(at, end - at));
    }
    return parts;
}

/// The rows of a text file beside the tests, in fields between " | "; lines with "#" and empty ones are left
/// out.
inline std::vector<std::vector<std::string>> Table(const std::string& name) {
    std::vector<std::vector<std::string>> rows;
    std::ifstream lines(std::filesystem::path(ORPHIA_EXAMPLES) / "../tests" / name);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line[0] != '#') {
            rows.push_back(Split(line, " | "));
        }
    }
    return rows;
}

/// What is said when something is refused.
template <class F>
std::string Refusal(F&& act) {
    try {
        act();
        return "taken";
    } catch (const std::exception& error) {
        return error.what();
    }
}

/// For EXPECT_PRED2, which prints both.
inline bool Has(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

} // namespace orphia::test
