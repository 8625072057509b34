// SPDX-License-Identifier: GPL-3.0-or-later
#include "golden/FeatureFile.h"

#include "rigs/MeasurePitch.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace orphia::test {

namespace {

constexpr const char* levelTolerance = "tolerance of levels in dB";
constexpr const char* pitchTolerance = "tolerance of pitch in cents";
constexpr const char* timeTolerance = "tolerance of times in seconds";

bool Is(const Feature& feature, const char* kind) { return feature.name.starts_with(kind); }

std::string Print(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

/// Digits as each kind deserves.
const char* FormatOf(const Feature& feature) {
    if (Is(feature, "level")) {
        return " %7.2f";
    }
    return Is(feature, "pitch") || Is(feature, "onsets") || Is(feature, "silence") ? " %.2f" : " %g";
}

std::string Line(const Feature& feature) {
    std::string line = feature.name + ":";
    for (const double value : feature.values) {
        line += Print(FormatOf(feature), value);
    }
    return line + "\n";
}

/// How far two values are apart, in the unit of the feature, and how far they may be.
struct Distance {
    double off;
    double allowed;
    const char* unit;
};

Distance Between(const Feature& feature, double expected, double got, const Tolerances& tolerances) {
    if (Is(feature, "level")) {
        return {std::max(got, silenceLevel) - std::max(expected, silenceLevel), tolerances.decibels, "dB"};
    }
    if (Is(feature, "pitch")) {
        if (expected > 0.0 && got > 0.0) {
            return {Cents(got, expected), tolerances.cents, "cents"};
        }
        return {got - expected, 0.0, "Hz"};
    }
    if (Is(feature, "onsets") || Is(feature, "silence")) {
        return {got - expected, tolerances.seconds, "s"};
    }
    return {got - expected, 0.0, ""};
}

void Compare(const Feature& expected, const Feature& got, const Tolerances& tolerances,
             std::vector<std::string>& differences) {
    if (expected.values.size() != got.values.size()) {
        differences.push_back("expected " + Line(expected) + "     got " + Line(got));
        return;
    }
    for (std::size_t i = 0; i < got.values.size(); ++i) {
        const Distance distance = Between(got, expected.values[i], got.values[i], tolerances);
        if (std::abs(distance.off) <= distance.allowed) {
            continue;
        }
        std::string place = got.name;
        if (Is(got, "level")) {
            place += " s, band at " + Print("%g Hz", bandCentres[i]);
        }
        const char* format = FormatOf(got);
        differences.push_back(place + ": expected" + Print(format, expected.values[i]) + ", got" +
                              Print(format, got.values[i]) + ", off by" + Print(" %+.3g ", distance.off) +
                              distance.unit + " of" + Print(" %g allowed", distance.allowed));
    }
}

} // namespace

FeatureFile ParseFeatures(const std::string& text) {
    FeatureFile file;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) {
            throw std::runtime_error("no feature: " + line);
        }
        Feature feature{line.substr(0, colon), {}};
        std::istringstream values(line.substr(colon + 1));
        for (double value = 0.0; values >> value;) {
            feature.values.push_back(value);
        }
        if (!values.eof()) {
            throw std::runtime_error("no number: " + line);
        }
        const std::pair<const char*, double*> tolerances[] = {{levelTolerance, &file.tolerances.decibels},
                                                              {pitchTolerance, &file.tolerances.cents},
                                                              {timeTolerance, &file.tolerances.seconds}};
        const auto* const found =
            std::find_if(std::begin(tolerances), std::end(tolerances),
                         [&feature](const auto& each) { return feature.name == each.first; });
        if (found == std::end(tolerances)) {
            file.features.push_back(std::move(feature));
        } else {
            *found->second = feature.values.at(0);
        }
    }
    return file;
}

std::string FormatFeatures(const Scene& scene, const FeatureFile& file) {
    std::string text = std::string("# ") + scene.what + "\n" +
                       Line({levelTolerance, {file.tolerances.decibels}}) +
                       Line({pitchTolerance, {file.tolerances.cents}}) +
                       Line({timeTolerance, {file.tolerances.seconds}}) + "\n";
    const Feature* before = nullptr;
    for (const Feature& feature : file.features) {
        const bool beginsLevels = Is(feature, "level left") && !Is(*before, "level left");
        if (beginsLevels) {
            text += "\n# in dBFS, -70 is silence; Hz: ";
            for (const double centre : bandCentres) {
                text += Print(text.ends_with(": ") ? "%4g" : " %7g", centre);
            }
            text += "\n";
        }
        text += Line(feature);
        before = &feature;
    }
    return text;
}

std::vector<std::string> Differences(const FeatureFile& expected, const std::vector<Feature>& got) {
    std::vector<std::string> differences;
    for (const Feature& feature : got) {
        const auto found =
            std::find_if(expected.features.begin(), expected.features.end(),
                         [&feature](const Feature& each) { return each.name == feature.name; });
        if (found == expected.features.end()) {
            differences.push_back("not in the file: " + Line(feature));
        } else {
            Compare(*found, feature, expected.tolerances, differences);
        }
    }
    for (const Feature& feature : expected.features) {
        if (std::none_of(got.begin(), got.end(),
                         [&feature](const Feature& each) { return each.name == feature.name; })) {
            differences.push_back("in the file alone: " + Line(feature));
        }
    }
    return differences;
}

} // namespace orphia::test
