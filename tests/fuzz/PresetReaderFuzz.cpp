// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/FuzzTargets.h"
#include "fuzz/Require.h"
#include "host/common/Errors.h"
#include "host/presets/Preset.h"

#include <cmath>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace orphia::host;
using orphia::fuzz::Require;

void CheckPreset(const Preset& preset, const ParameterCatalog& catalog) {
    for (const ParameterSetting& setting : preset.settings) {
        Require(setting.id < catalog.Parameters().size(), "a parameter that there is not");
        Require(catalog.Parameters()[setting.id].IsSettable(), "a parameter that cannot be set");
        Require(std::isfinite(setting.number), "a value is no finite number");
    }
}

void CheckCopy(const Preset& preset, const ParameterCatalog& catalog) {
    std::vector<std::string> warnings;
    const Preset copy = ParsePreset(FormatPreset(preset, catalog), catalog, warnings);
    Require(warnings.empty(), "what was written is read with warnings");
    Require(copy.name == preset.name && copy.description == preset.description, "other texts are read back");
    Require(copy.settings == preset.settings, "other settings are read back");
    Require(copy.samples == preset.samples, "other samples are read back");
}

void CheckText(std::string_view text, const ParameterCatalog& catalog) {
    Preset preset;
    try {
        std::vector<std::string> warnings;
        preset = ParsePreset(text, catalog, warnings);
    } catch (const FileError& refusal) {
        Require(std::string_view(refusal.what()).starts_with("line "), "a refusal without its line");
        return;
    }
    CheckPreset(preset, catalog);
    CheckCopy(preset, catalog);
    Require(SummaryOf(text).name == preset.name, "the list has another name");
}

} // namespace

void orphia::fuzz::PresetReader(const std::uint8_t* data, std::size_t size) {
    static const ParameterCatalog vocoder(EngineTree::Vocoder);
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    CheckText(text, ParameterCatalog::OfInstrument());
    CheckText(text, vocoder);
}
