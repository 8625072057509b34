// SPDX-License-Identifier: GPL-3.0-or-later
#include "golden/Features.h"

#include "rigs/MeasurePitch.h"

#include <fftw3.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iterator>
#include <numbers>

namespace orphia::test {

namespace {

constexpr std::size_t windowSize = 4096;
constexpr std::size_t hop = 1024;
constexpr double levelSeconds = 0.5;
constexpr double pitchSeconds = 0.25;
/// Of the frames in which a sound begins.
constexpr double frameSeconds = 0.01;
constexpr double onsetLevel = -50.0;
constexpr double onsetRise = 9.0;
constexpr std::size_t framesBefore = 5;
constexpr std::size_t framesBetween = 8;

using Bands = std::array<double, std::size(bandCentres)>;

double Decibel(double power) { return 10.0 * std::log10(std::max(power, 1e-12)); }

std::string At(const char* what, double seconds) {
    char text[64];
    std::snprintf(text, sizeof(text), "%s %.2f", what, seconds);
    return text;
}

std::vector<float> Side(const Sound& sound, std::size_t side) {
    std::vector<float> samples;
    for (std::size_t n = side; n < sound.samples.size(); n += 2) {
        samples.push_back(sound.samples[n]);
    }
    return samples;
}

/// Powers of short stretches, each for its frequencies.
class Spectrum {
public:
    Spectrum() : plan(fftwf_plan_dft_r2c_1d(windowSize, in, out, FFTW_ESTIMATE)) {
        for (std::size_t n = 0; n < windowSize; ++n) {
            const double x =
                std::sin(std::numbers::pi * (static_cast<double>(n) + 0.5) / static_cast<double>(windowSize));
            window[n] = static_cast<float>(x * x);
            sum += x * x * x * x;
        }
    }
    ~Spectrum() { fftwf_destroy_plan(plan); }
    Spectrum(const Spectrum&) = delete;
    Spectrum& operator=(const Spectrum&) = delete;

    /// Around `centre`, silent beyond the ends; all powers together are the mean square.
    std::vector<double> Powers(const std::vector<float>& samples, std::size_t centre) {
        for (std::size_t n = 0; n < windowSize; ++n) {
            const std::size_t at = centre + n - windowSize / 2; // wraps before the start
            in[n] = at < samples.size() ? samples[at] * window[n] : 0.0F;
        }
        fftwf_execute(plan);
        std::vector<double> powers;
        for (const auto& bin : out) {
            const double square = static_cast<double>(bin[0]) * bin[0] + static_cast<double>(bin[1]) * bin[1];
            powers.push_back(2.0 * square / (sum * windowSize));
        }
        return powers;
    }

private:
    float in[windowSize]{};
    float window[windowSize]{};
    fftwf_complex out[windowSize / 2 + 1]{};
    fftwf_plan plan;
    double sum = 0.0;
};

Bands InBands(const std::vector<double>& powers, double rate) {
    Bands bands{};
    for (std::size_t bin = 1; bin < powers.size(); ++bin) {
        const double hz = static_cast<double>(bin) * rate / windowSize;
        for (std::size_t band = 0; band < bands.size(); ++band) {
            if (hz >= bandCentres[band] * std::numbers::sqrt2 * 0.5 &&
                hz < bandCentres[band] * std::numbers::sqrt2) {
                bands[band] += powers[bin];
            }
        }
    }
    return bands;
}

void AddLevels(std::vector<Feature>& features, const char* name, const std::vector<float>& samples,
               double rate) {
    Spectrum spectrum;
    const auto length = static_cast<std::size_t>(levelSeconds * rate);
    for (std::size_t start = 0; start + length <= samples.size(); start += length) {
        Bands sums{};
        double count = 0.0;
        for (std::size_t centre = start + hop / 2; centre < start + length; centre += hop) {
            const Bands bands = InBands(spectrum.Powers(samples, centre), rate);
            std::transform(sums.begin(), sums.end(), bands.begin(), sums.begin(), std::plus<>());
            count += 1.0;
        }
        Feature& feature = features.emplace_back(Feature{At(name, static_cast<double>(start) / rate), {}});
        for (const double sum : sums) {
            feature.values.push_back(std::max(Decibel(sum / count), silenceLevel));
        }
    }
}

/// Of both sides together, in short frames.
std::vector<double> FrameLevels(const std::vector<float>& left, const std::vector<float>& right,
                                double rate) {
    const auto length = static_cast<std::size_t>(frameSeconds * rate);
    std::vector<double> levels;
    for (std::size_t start = 0; start + length <= left.size(); start += length) {
        double sum = 0.0;
        for (std::size_t n = start; n < start + length; ++n) {
            sum += static_cast<double>(left[n]) * left[n] + static_cast<double>(right[n]) * right[n];
        }
        levels.push_back(Decibel(0.5 * sum / static_cast<double>(length)));
    }
    return levels;
}

Feature Onsets(const std::vector<double>& levels) {
    Feature onsets{"onsets", {}};
    std::size_t next = framesBefore;
    for (std::size_t i = framesBefore; i < levels.size(); ++i) {
        const double before =
            *std::min_element(levels.begin() + static_cast<std::ptrdiff_t>(i - framesBefore),
                              levels.begin() + static_cast<std::ptrdiff_t>(i));
        if (i >= next && levels[i] > onsetLevel && levels[i] - before >= onsetRise) {
            onsets.values.push_back(static_cast<double>(i) * frameSeconds);
            next = i + framesBetween;
        }
    }
    return onsets;
}

Feature Silence(const std::vector<double>& levels) {
    const auto count =
        std::count_if(levels.begin(), levels.end(), [](double x) { return x <= silenceLevel; });
    return {"silence", {static_cast<double>(count) * frameSeconds}};
}

/// About where the strongest partial between the scene's limits is: the peak of the parabola through the
/// levels of three bins, near enough for MeasurePitch. 0 in silence.
double Strongest(const std::vector<double>& powers, const Scene& scene, double rate) {
    const auto first = static_cast<std::size_t>(scene.pitchFrom * windowSize / rate);
    const auto last = static_cast<std::size_t>(scene.pitchTo * windowSize / rate);
    std::size_t best = first;
    for (std::size_t bin = first; bin <= last; ++bin) {
        best = powers[bin] > powers[best] ? bin : best;
    }
    const double level = Decibel(powers[best]);
    if (level <= silenceLevel) {
        return 0.0;
    }
    const double below = Decibel(powers[best - 1]) - level;
    const double above = Decibel(powers[best + 1]) - level;
    const double aside = below + above < 0.0 ? 0.5 * (below - above) / (below + above) : 0.0;
    return (static_cast<double>(best) + std::clamp(aside, -0.5, 0.5)) * rate / windowSize;
}

void AddPitch(std::vector<Feature>& features, const Scene& scene, const std::vector<float>& samples,
              double rate) {
    Spectrum spectrum;
    const auto length = static_cast<std::size_t>(pitchSeconds * rate);
    for (std::size_t start = 0; start + length <= samples.size(); start += length) {
        const double near = Strongest(spectrum.Powers(samples, start + length / 2), scene, rate);
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(start);
        const std::vector<float> part(begin, begin + static_cast<std::ptrdiff_t>(length));
        features.push_back({At("pitch", static_cast<double>(start) / rate),
                            {near > 0.0 ? MeasurePitch(part, near, rate) : 0.0}});
    }
}

} // namespace

std::vector<Feature> Measure(const Scene& scene, const Recording& recording) {
    const double rate = recording.sound.sampleRate;
    const std::vector<float> left = Side(recording.sound, 0);
    const std::vector<float> right = Side(recording.sound, 1);
    const std::vector<double> levels = FrameLevels(left, right, rate);
    std::vector<Feature> features = {{"voices started", {static_cast<double>(recording.startedVoices)}},
                                     {"voices ended", {static_cast<double>(recording.endedVoices)}},
                                     {"voices at once", {static_cast<double>(recording.mostVoices)}},
                                     Onsets(levels),
                                     Silence(levels)};
    if (scene.pitchTo > 0.0) {
        AddPitch(features, scene, left, rate);
    }
    AddLevels(features, "level left", left, rate);
    AddLevels(features, "level right", right, rate);
    return features;
}

} // namespace orphia::test
