// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Velmora::Processor {

constexpr float lowestVoiceFrequency = 20.0F;
constexpr float highestVoiceFrequency = 20000.0F;

/// In Hz; what is not a number becomes the lowest frequency.
inline float LimitVoiceFrequency(float hz) {
    return hz > lowestVoiceFrequency ? std::min(hz, highestVoiceFrequency) : lowestVoiceFrequency;
}

/// Equal temperament: a shift in semitones as a ratio.
inline float SemitonesToRatio(float semitones) { return std::exp2(semitones * 0.083333336F); }

inline std::array<float, 128> MakeNoteTable() {
    std::array<float, 128> hz{};
    for (u32 note = 0; note < hz.size(); ++note) {
        hz[note] = static_cast<float>(440.0 * std::exp2((static_cast<double>(note) - 69.0) / 12.0));
    }
    return hz;
}

/// The equal-tempered frequency of every note number, 69 being 440 Hz.
inline const std::array<float, 128> noteTable = MakeNoteTable();

} // namespace Velmora::Processor
