// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace orphia::host {

/// Loudness after EBU R 128 and peaks of a stereo signal.
class LoudnessMeter {
public:
    /// Throws UsageError for a rate that cannot be measured.
    explicit LoudnessMeter(std::uint32_t sampleRate);
    ~LoudnessMeter();

    /// Interleaved frames; full scale is 1.
    void Add(std::span<const float> samples);

    /// In LUFS over all that was added; nothing for silence and for less than 0.4 s.
    std::optional<double> IntegratedLoudness() const;
    /// The largest magnitude of a sample.
    double SamplePeak() const;
    /// The largest magnitude of the curve through the samples, by oversampling.
    double TruePeak() const;

private:
    struct Meter;
    std::unique_ptr<Meter> meter;
};

} // namespace orphia::host
