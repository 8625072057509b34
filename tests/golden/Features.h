// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "golden/Scene.h"
#include "golden/ScenePlayer.h"

#include <string>
#include <vector>

namespace orphia::test {

/// One line of what is known of a sound, for instance "level left 0.5" with a level per band.
struct Feature {
    std::string name;
    std::vector<double> values;
};

/// The centres of the octave bands, in Hz.
inline constexpr double bandCentres[] = {63, 125, 250, 500, 1000, 2000, 4000, 8000, 16000};

/// What is not above it counts as silence, in dBFS.
inline constexpr double silenceLevel = -70.0;

/// Voices, onsets, silence, the strongest partial where the scene has one, and the level of each band in each
/// half second, per channel: 0 dBFS is a square at full scale.
std::vector<Feature> Measure(const Scene& scene, const Recording& recording);

} // namespace orphia::test
