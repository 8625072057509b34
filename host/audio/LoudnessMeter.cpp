// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/audio/LoudnessMeter.h"

#include "host/common/Errors.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <new>

namespace orphia::host {

namespace {

constexpr unsigned sideCount = 2;

} // namespace

struct LoudnessMeter::Meter {
    ebur128_state* state;

    explicit Meter(std::uint32_t sampleRate)
        : state(ebur128_init(sideCount, sampleRate, EBUR128_MODE_I | EBUR128_MODE_TRUE_PEAK)) {}
    ~Meter() {
        if (state != nullptr) {
            ebur128_destroy(&state);
        }
    }
    Meter(const Meter&) = delete;
    Meter& operator=(const Meter&) = delete;

    /// The larger one of both channels.
    template <class Query>
    double Largest(Query&& query) const {
        double largest = 0.0;
        for (unsigned channel = 0; channel < sideCount; ++channel) {
            double peak = 0.0;
            if (query(state, channel, &peak) == EBUR128_SUCCESS) {
                largest = std::max(largest, peak);
            }
        }
        return largest;
    }
};

LoudnessMeter::LoudnessMeter(std::uint32_t sampleRate) : meter(std::make_unique<Meter>(sampleRate)) {
    if (meter->state == nullptr) {
        throw UsageError("loudness cannot be measured at this sample rate");
    }
}

LoudnessMeter::~LoudnessMeter() = default;

void LoudnessMeter::Add(std::span<const float> samples) {
    if (ebur128_add_frames_float(meter->state, samples.data(), samples.size() / sideCount) !=
        EBUR128_SUCCESS) {
        throw std::bad_alloc();
    }
}

std::optional<double> LoudnessMeter::IntegratedLoudness() const {
    double loudness = 0.0;
    if (ebur128_loudness_global(meter->state, &loudness) != EBUR128_SUCCESS || !std::isfinite(loudness)) {
        return std::nullopt;
    }
    return loudness;
}

double LoudnessMeter::SamplePeak() const { return meter->Largest(ebur128_sample_peak); }

double LoudnessMeter::TruePeak() const { return meter->Largest(ebur128_true_peak); }

} // namespace orphia::host
