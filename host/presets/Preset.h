// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/parameters/ParameterCatalog.h"
#include "host/parameters/ParameterInfo.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::host {

/// A named list of settings, kept as a readable JSON file:
///
///   { "format": "orphia-preset", "version": 1, "name": "...", "description": "...", "tags": ["...", ...],
///     "parameters": { "BodeVocoder_AnalyzerRectifiers_Attack": "5 ms", ... },
///     "samples": { "1": "beat.wav", ... } }
///
/// Names are full names; values are texts as for ParseSetting, or plain numbers. A preset changes only what
/// it names. Samples, of the whole instrument only, are counted from 1; their paths are relative to the
/// folder of the file, or, behind "factory:", to the folder of what comes with the program.
struct ORPHIA_PUBLIC Preset {
    static constexpr int currentVersion = 1;
    static constexpr std::uint32_t sampleCount = 12;
    static constexpr std::string_view shippedPrefix = "factory:";

    std::string name;
    /// A sentence for lists; may be empty.
    std::string description;
    /// Words to find it by, any; may be none.
    std::vector<std::string> tags;
    std::vector<ParameterSetting> settings;
    /// Paths of files, by the sample from 0; samples that are not named here are empty. Nothing when the
    /// preset does not speak of samples.
    std::optional<std::map<std::uint32_t, std::filesystem::path>> samples;
};

/// Reads the text of a preset file. A name that the engine does not know, or that cannot be set, is left
/// out and told in a line of `warnings`: it may come from another version. A preset of which no name is known
/// is for another instrument; this, and everything else that is wrong, refuses the whole text: throws
/// FileError with the line and the reason. Relative paths of samples are put behind `folder`.
ORPHIA_PUBLIC Preset ParsePreset(std::string_view text, const ParameterCatalog& catalog,
                                 std::vector<std::string>& warnings,
                                 const std::filesystem::path& folder = {});

/// Reads a file; FileError names it. Files above 1 MiB are refused unread.
ORPHIA_PUBLIC Preset ReadPreset(const std::filesystem::path& path, const ParameterCatalog& catalog,
                                std::vector<std::string>& warnings);

/// What a list tells of a preset.
struct ORPHIA_PUBLIC PresetSummary {
    std::string name;
    std::string description;
    std::vector<std::string> tags;
};

/// Without its parameters, which it does not check. Throws FileError, as ParsePreset and ReadPreset.
ORPHIA_PUBLIC PresetSummary SummaryOf(std::string_view text);
ORPHIA_PUBLIC PresetSummary ReadPresetSummary(const std::filesystem::path& path);

/// The text of a preset file; reading it back gives the same preset. Paths of samples within `folder` and
/// beside it become relative to it, others that come with the program to where that keeps them; an empty
/// folder leaves the rest as they are.
ORPHIA_PUBLIC std::string FormatPreset(const Preset& preset, const ParameterCatalog& catalog,
                                       const std::filesystem::path& folder = {});

/// Writes a file, whole or not at all. Throws FileError.
ORPHIA_PUBLIC void WritePreset(const std::filesystem::path& path, const Preset& preset,
                               const ParameterCatalog& catalog);

/// The preset that is built in for the catalog's tree: it names every control, and sounds well at once: that
/// of the vocoder with speech over a chord, that of the instrument with speech and chords played.
ORPHIA_PUBLIC Preset DefaultPreset(const ParameterCatalog& catalog);

/// Its file's text.
ORPHIA_PUBLIC std::string_view DefaultPresetText(EngineTree tree);

} // namespace orphia::host
