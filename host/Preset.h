// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/ParameterCatalog.h"
#include "host/ParameterInfo.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::host {

/// A named list of settings, kept as a readable JSON file:
///
///   { "format": "orphia-preset", "version": 1, "name": "...",
///     "parameters": { "BodeVocoder_AnalyzerRectifiers_Attack": "5 ms", ... } }
///
/// Names are full names; values are texts as for ParseSetting, or plain numbers. A preset changes only what
/// it names.
struct Preset {
    static constexpr int currentVersion = 1;

    std::string name;
    std::vector<ParameterSetting> settings;
};

/// Reads the text of a preset file. A name that the engine does not know, or that cannot be set, is left
/// out and told in a line of `warnings`: it may come from another version. A preset of which no name is known
/// is for another instrument; this, and everything else that is wrong, refuses the whole text: throws
/// FileError with the line and the reason.
Preset ParsePreset(std::string_view text, const ParameterCatalog& catalog,
                   std::vector<std::string>& warnings);

/// Reads a file; FileError names it. Files above 1 MiB are refused unread.
Preset ReadPreset(const std::filesystem::path& path, const ParameterCatalog& catalog,
                  std::vector<std::string>& warnings);

/// The text of a preset file; reading it back gives the same preset.
std::string FormatPreset(const Preset& preset, const ParameterCatalog& catalog);

/// The preset that is built in for the catalog's tree: it names every control, and sounds well at once, that
/// of the vocoder with speech over a chord.
Preset DefaultPreset(const ParameterCatalog& catalog);

/// Its file's text.
std::string_view DefaultPresetText(EngineTree tree);

} // namespace orphia::host
