// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/Within.h"
#include "support/platform/Types.h"

#include <array>
#include <cmath>

/// The note lengths that effects in time with the song offer as their "SyncRate", by step.
namespace Velmora::dsp::SyncRates {

/// Of a cycle, in beats, from the longest to the shortest.
inline constexpr std::array<float, 12> cycleBeats = {32.0F, 16.0F, 12.0F, 8.0F, 6.0F,        4.0F,
                                                     3.0F,  2.0F,  1.5F,  1.0F, 2.0F / 3.0F, 0.5F};
inline constexpr u32 count = static_cast<u32>(cycleBeats.size());

/// Of an echo, in beats: straight, dotted and triplet notes from the whole note to the thirty-second.
inline constexpr std::array<float, 15> echoBeats = {4.0F,        3.0F,  2.0F,        1.5F,        4.0F / 3.0F,
                                                    1.0F,        0.75F, 2.0F / 3.0F, 0.5F,        0.375F,
                                                    1.0F / 3.0F, 0.25F, 0.1875F,     1.0F / 6.0F, 0.125F};
inline constexpr u32 echoCount = static_cast<u32>(echoBeats.size());

/// False for a host that tells no tempo.
inline bool IsTempo(float beatsPerMinute) { return beatsPerMinute > 0.0F && std::isfinite(beatsPerMinute); }

/// Rate in Hz of cycles of a step at a tempo; `otherwise` where that is none. step may be any number.
inline float CycleHz(float step, float tempo, float otherwise) {
    return IsTempo(tempo) ? tempo / (60.0F * cycleBeats[ToIndex(step, count)]) : otherwise;
}

/// Seconds between echoes of a step at a tempo; `otherwise` where that is none. step may be any number.
inline float EchoSeconds(float step, float tempo, float otherwise) {
    return IsTempo(tempo) ? 60.0F * echoBeats[ToIndex(step, echoCount)] / tempo : otherwise;
}

/// Where in its cycle an oscillator of a step is that started with the song: 0 to below 1. A position that
/// is no number, and one from before the start, count as 0.
inline double CyclePhase(float step, float songPosition) {
    const double cycles = static_cast<double>(Within(songPosition, 0.0F, 1e9F)) /
                          static_cast<double>(cycleBeats[ToIndex(step, count)]);
    return cycles - std::floor(cycles);
}

} // namespace Velmora::dsp::SyncRates
