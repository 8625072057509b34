// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/options/ParameterList.h"

#include "host/parameters/ParameterText.h"
#include "host/presets/Preset.h"
#include "tools/terminal/TextTable.h"

#include <fmt/format.h>

#include <map>
#include <string>
#include <string_view>

namespace orphia::tools {

namespace {

using host::ParameterInfo;
using host::ParameterRole;

constexpr std::string_view vocoderHint =
    "With Activated=on, Analysis3_Synthesis7=1 lets band 3 drive band 7.\n"
    "--all lists the 256 routes, the circuit's constants and the outputs too.";
constexpr std::string_view instrumentHint =
    "With Controls_Enable=on, Dst17_Src4_Amount=0.2 lets velocity\n"
    "(source 4) move the level of oscillator 1 (destination 17). --all lists all routes, what a\n"
    "MIDI file plays, constants and outputs too; orphia params finds parameters by a part of the name.";

std::map<std::uint32_t, host::ParameterSetting> PresetSettings(const host::ParameterCatalog& catalog) {
    std::map<std::uint32_t, host::ParameterSetting> settings;
    for (const host::ParameterSetting& setting : host::DefaultPreset(catalog).settings) {
        settings[setting.id] = setting;
    }
    return settings;
}

} // namespace

void PrintParameterList(const host::ParameterCatalog& catalog, bool all) {
    const auto settings = PresetSettings(catalog);
    TextTable table({"NAME", "RANGE", "DEFAULT", ""});
    for (const ParameterInfo& info : catalog.Parameters()) {
        if (!all && info.role != ParameterRole::Control) {
            continue;
        }
        if (info.role == ParameterRole::Output) {
            table.Add({info.name, "output", "", std::string(info.description)});
            continue;
        }
        const auto setting = settings.find(info.id);
        table.Add({info.name, host::FormatRange(info),
                   setting != settings.end() ? host::FormatSetting(info, setting->second)
                                             : host::FormatValue(info, info.start),
                   std::string(info.description)});
    }
    table.Print();
    if (!all) {
        fmt::print(
            "\nAn unambiguous ending of a name will do: --set Attack=\"5 ms\". \"50 %\" or @0.5 is the\n"
            "middle of the knob. {}\n",
            catalog.Tree() == host::EngineTree::Instrument ? instrumentHint : vocoderHint);
    }
}

} // namespace orphia::tools
