// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/audio/AudioSource.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace orphia::host {

/// What the engine's sampler makes of a file.
struct SampleReport {
    bool isAccepted = false;
    /// Why it is refused, a phrase.
    std::string reason;

    /// As the file's header tells, each 0 where it does not.
    int channelCount = 0;
    int sampleRate = 0;
    std::uint64_t frames = 0;
    /// Samples that are no finite numbers, and are played as silence.
    std::uint64_t replacedSamples = 0;

    /// The largest magnitude; of accepted files only, as the pitch.
    double peak = 0.0;
    /// The pitch in Hz that is found most of the time, as the instrument's pitch tracker finds it; nothing
    /// for a file that has hardly any.
    std::optional<double> pitch;

    double Seconds() const { return sampleRate > 0 ? static_cast<double>(frames) / sampleRate : 0.0; }
};

/// Reads the whole file. Throws std::exception when no file can be read at all, as without libsndfile.
SampleReport InspectSample(const std::filesystem::path& path);

/// The pitch alone, of a sound that is read piece by piece, so that it takes no memory. Ends without one as
/// soon as `goesOn`, which is asked for each piece, tells no. Throws FileError.
std::optional<double> FindPitch(AudioSource& source, const std::function<bool()>& goesOn);

} // namespace orphia::host
