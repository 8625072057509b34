// SPDX-License-Identifier: GPL-3.0-or-later
#include "ParameterList.h"

#include "host/ParameterText.h"
#include "host/Preset.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace orphia::tools {

namespace {

using host::ParameterInfo;
using host::ParameterRole;

constexpr std::string_view vocoderHint =
    "With Activated=on, Analysis3_Synthesis7=1 lets band 3 drive band 7.\n"
    "--all lists the 256 routes, the circuit's constants and the outputs too.";
constexpr std::string_view modulatorHint =
    "The file plays as sample 1: Sample1_Gain, Slot1_Reverse.\n"
    "--all lists what the engine or the keys set, constants and outputs too.";
constexpr std::string_view carrierHint =
    "With Controls_Enable=on, Dst17_Src4_Amount=0.2 lets velocity\n"
    "(source 4) move the level of oscillator 1 (destination 17). --all lists all routes, what a\n"
    "MIDI file plays, constants and outputs too.";

struct Line {
    std::string name;
    std::string range;
    std::string value;
    std::string_view description;
};

std::map<std::uint32_t, host::ParameterSetting> PresetSettings(const host::ParameterCatalog& catalog) {
    std::map<std::uint32_t, host::ParameterSetting> settings;
    for (const host::ParameterSetting& setting : host::DefaultPreset(catalog).settings) {
        settings[setting.id] = setting;
    }
    return settings;
}

std::vector<Line> MakeLines(const host::ParameterCatalog& catalog, bool all) {
    const auto settings = PresetSettings(catalog);
    std::vector<Line> lines{{"NAME", "RANGE", "DEFAULT", ""}};
    for (const ParameterInfo& info : catalog.Parameters()) {
        if (!all && info.role != ParameterRole::Control) {
            continue;
        }
        const auto setting = settings.find(info.id);
        const bool isOutput = info.role == ParameterRole::Output;
        lines.push_back({info.name, isOutput ? "output" : host::FormatRange(info),
                         isOutput                    ? ""
                         : setting != settings.end() ? host::FormatSetting(info, setting->second)
                                                     : host::FormatValue(info, info.start),
                         info.description});
    }
    return lines;
}

std::size_t Widest(const std::vector<Line>& lines, std::string Line::*column) {
    std::size_t width = 0;
    for (const Line& line : lines) {
        width = std::max(width, (line.*column).size());
    }
    return width;
}

std::string_view HintOf(host::EngineTree tree) {
    switch (tree) {
    case host::EngineTree::Carrier:
        return carrierHint;
    case host::EngineTree::Modulator:
        return modulatorHint;
    case host::EngineTree::Vocoder:
        break;
    }
    return vocoderHint;
}

} // namespace

void PrintParameterList(const host::ParameterCatalog& catalog, bool all) {
    const std::vector<Line> lines = MakeLines(catalog, all);
    const std::size_t nameWidth = Widest(lines, &Line::name);
    const std::size_t rangeWidth = Widest(lines, &Line::range);
    const std::size_t valueWidth = Widest(lines, &Line::value);
    for (const Line& line : lines) {
        std::string text = fmt::format("{:<{}}  {:<{}}  {:<{}}  {}", line.name, nameWidth, line.range,
                                       rangeWidth, line.value, valueWidth, line.description);
        text.erase(text.find_last_not_of(' ') + 1);
        fmt::print("{}\n", text);
    }
    if (!all) {
        fmt::print(
            "\nAn unambiguous ending of a name will do: --set Attack=\"5 ms\". \"50 %\" or @0.5 is the\n"
            "middle of the knob. {}\n",
            HintOf(catalog.Tree()));
    }
}

} // namespace orphia::tools
