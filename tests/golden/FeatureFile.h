// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "golden/Features.h"

#include <string>
#include <vector>

namespace orphia::test {

/// How far a sound may be from what its file says.
struct Tolerances {
    /// Of a band that is above silence.
    double decibels = 0.03;
    double cents = 3.0;
    /// Of onsets and silence.
    double seconds = 0.015;
};

/// What a file in this folder holds: a line per feature, "name: values"; lines that begin with # say what it
/// is.
struct FeatureFile {
    Tolerances tolerances;
    std::vector<Feature> features;
};

/// Throws when the text is none.
FeatureFile ParseFeatures(const std::string& text);
std::string FormatFeatures(const Scene& scene, const FeatureFile& file);

/// A line for each value that is too far off: feature, band, expected and got.
std::vector<std::string> Differences(const FeatureFile& expected, const std::vector<Feature>& got);

} // namespace orphia::test
