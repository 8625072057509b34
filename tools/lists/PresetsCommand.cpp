// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/common/Paths.h"
#include "host/parameters/ParameterText.h"
#include "host/presets/PresetLibrary.h"
#include "tools/lists/ListCommands.h"
#include "tools/options/RenderOptions.h"
#include "tools/terminal/Terminal.h"
#include "tools/terminal/TextTable.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace orphia::tools {

namespace {

std::string Joined(const std::vector<std::string>& tags) { return fmt::format("{}", fmt::join(tags, ", ")); }

} // namespace

PresetsCommand::PresetsCommand(CLI::App& app) : Command(app, "presets", "List the presets, or show one") {
    command->add_option("NAME", name, "show this one: a name, or a file")->type_name("");
    command->footer("Example:\n  orphia presets talking-pad");
}

void PresetsCommand::Run() {
    if (command->count("NAME") > 0) {
        Show();
    } else {
        List();
    }
}

void PresetsCommand::List() const {
    using host::PresetLibrary;
    TextTable table({"NAME", "TITLE", "TAGS", "DESCRIPTION"});
    const host::Preset standard = host::DefaultPreset(host::ParameterCatalog::OfInstrument());
    table.Add(
        {std::string(PresetLibrary::defaultId), standard.name, Joined(standard.tags), standard.description});
    const PresetLibrary library;
    for (const PresetLibrary::Entry& entry : library.Entries()) {
        table.Add({entry.id, entry.name, Joined(entry.tags), entry.description});
    }
    table.Print();
    std::for_each(library.Warnings().begin(), library.Warnings().end(), Warn);
    if (const auto folder = PresetLibrary::UserFolder(); !folder.empty()) {
        fmt::print("\nYour own ones belong in {}\n", host::TextOf(folder));
    }
}

void PresetsCommand::Show() const {
    const host::ParameterCatalog& catalog = host::ParameterCatalog::OfInstrument();
    std::vector<std::string> warnings;
    const host::Preset preset = OpenPreset(name, warnings);
    std::for_each(warnings.begin(), warnings.end(), Warn);
    fmt::print("{}\n", preset.name);
    if (!preset.description.empty()) {
        fmt::print("{}\n", preset.description);
    }
    if (!preset.tags.empty()) {
        fmt::print("Tags: {}\n", Joined(preset.tags));
    }
    fmt::print("\n");
    TextTable table({"PARAMETER", "VALUE", "DESCRIPTION"});
    for (const host::ParameterSetting& setting : preset.settings) {
        const host::ParameterInfo& info = catalog.Parameters()[setting.id];
        table.Add({info.name, host::FormatSetting(info, setting), std::string(info.description)});
    }
    if (preset.samples) {
        for (const auto& [sample, path] : *preset.samples) {
            table.Add({fmt::format("sample {}", sample + 1), host::TextOf(path), ""});
        }
    }
    table.Print();
}

} // namespace orphia::tools
