// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "MeasurePitch.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>

namespace orphia::test {

inline double Decibels(double magnitude) { return 20.0 * std::log10(std::max(magnitude, 1e-10)); }

/// What is written of a sound, each with its value or "low~high": rate, frames, seconds, peak in dBFS, the
/// time at which it is up to 20 dB below its peak for the last time; between two times in seconds the level,
/// as RMS in dBFS or over that of the reference, and in cents how far it is from a pitch in hertz or from a
/// key: "rate 44100 reference 0.5 0.6 level 0.1 0.4 -20~-18 pitch 0.1 0.4 440 -2~2 key 0.5 0.6 69 -2~2".
inline void ExpectSound(const Sound& sound, const std::string& checks) {
    std::istringstream words(checks);
    const auto next = [&words] {
        double number = NAN;
        words >> number;
        return number;
    };
    double reference = 0.0;
    for (std::string kind, range; words >> kind; range.clear()) {
        double measured = NAN;
        if (kind == "rate") {
            measured = sound.sampleRate;
        } else if (kind == "frames") {
            measured = static_cast<double>(sound.Frames());
        } else if (kind == "seconds") {
            measured = sound.Seconds();
        } else if (kind == "peak") {
            measured = Decibels(static_cast<double>(sound.Peak()));
        } else if (kind == "ends") {
            const float least = 0.1F * sound.Peak();
            const auto last = std::find_if(sound.samples.rbegin(), sound.samples.rend(),
                                           [least](float sample) { return std::abs(sample) > least; });
            measured = static_cast<double>(sound.samples.rend() - last) / sound.channels / sound.sampleRate;
        } else {
            const double from = next();
            const double to = next();
            if (kind == "reference") {
                reference = Decibels(sound.Rms(from, to));
                continue;
            }
            const double near = kind == "pitch" ? next() : kind == "key" ? NoteHz(next()) : NAN;
            measured = kind == "level"
                           ? Decibels(sound.Rms(from, to)) - reference
                           : Cents(MeasurePitch(sound.Left(from, to), near, sound.sampleRate), near);
        }
        words >> range;
        std::size_t end = 0;
        const double low = std::stod(range, &end);
        const double high = end < range.size() ? std::stod(range.substr(end + 1)) : low;
        EXPECT_TRUE(measured >= low && measured <= high) << kind << " " << range << ": " << measured;
    }
}

} // namespace orphia::test
