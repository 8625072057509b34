// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/parameters/PluginParameters.h"

#include "host/common/Errors.h"
#include "host/parameters/ParameterCatalog.h"
#include "host/parameters/ParameterText.h"
#include "host/presets/NeutralStart.h"
#include "plugin/core/parameters/ParameterTable.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace orphia::plugin {

namespace {

using host::ParameterCatalog;
using host::ParameterInfo;
using host::ParameterKind;
using host::ParameterSetting;

constexpr std::string_view masterGroup = "Master";
constexpr std::array<std::string_view, 3> slotGroups = {"Effect 1", "Effect 2", "Effect 3"};
constexpr std::array<std::string_view, 3> slotPrefixes = {"FX1", "FX2", "FX3"};

std::string SymbolOf(std::string_view name) {
    std::string symbol(name);
    std::replace_if(
        symbol.begin(), symbol.end(), [](unsigned char c) { return !(c < 0x80 && std::isalnum(c) != 0); },
        '_');
    return symbol;
}

/// Empty when a step has none.
std::vector<std::string> ChoicesOf(const ParameterInfo& info) {
    std::vector<std::string> choices;
    for (unsigned step = 0; !info.choices.empty() && step < info.stepCount; ++step) {
        choices.emplace_back(host::ChoiceOf(info, step));
    }
    if (choices.empty() && info.isSwitch) {
        choices = {"off", "on"};
    }
    const bool isWhole = std::none_of(choices.begin(), choices.end(),
                                      [](const std::string& choice) { return choice.empty(); });
    return isWhole ? choices : std::vector<std::string>();
}

PluginParameter Listed(std::string_view engineName, std::string label, std::string_view group) {
    const ParameterCatalog& catalog = ParameterCatalog::OfInstrument();
    const ParameterInfo& info = catalog.Find(engineName);
    PluginParameter parameter;
    parameter.id = info.id;
    parameter.symbol = SymbolOf(info.name);
    parameter.name = std::move(label);
    parameter.group = group;
    parameter.unit = host::UnitText(info.unit);
    parameter.choices = ChoicesOf(info);
    parameter.stepCount = info.isSwitch ? 2 : info.kind == ParameterKind::Stepped ? info.stepCount : 0;
    parameter.isSwitch = info.isSwitch && info.choices.empty();
    parameter.start = host::NeutralStart::Get().Position(info.id);
    parameter.minimum = info.minimum;
    parameter.maximum = info.maximum;
    parameter.middle = catalog.ToValue(info.id, 0.5F);
    return parameter;
}

/// As many digits as a panel shows, within the range.
float Shown(const ParameterInfo& info, float value) {
    if (info.kind == ParameterKind::Stepped || info.isSwitch || value == 0.0F) {
        return value;
    }
    const double unit = std::pow(10.0, std::floor(std::log10(std::abs(value))) - 3.0);
    // A very small share of the range is none.
    const double least = 1e-5 * (info.maximum - info.minimum);
    const double rounded = std::abs(value) < least ? 0.0 : std::round(value / unit) * unit;
    return std::clamp(static_cast<float>(rounded), info.minimum, info.maximum);
}

} // namespace

const PluginParameters& PluginParameters::Get() {
    static const PluginParameters parameters;
    return parameters;
}

PluginParameters::PluginParameters() {
    for (const ParameterGroup& group : PanelGroups()) {
        if (group.name == masterGroup) {
            for (std::size_t slot = 0; slot < slotGroups.size(); ++slot) {
                const std::string prefix(slotPrefixes[slot]);
                for (const ListedParameter& each : SlotParameters()) {
                    parameters.push_back(Listed(prefix + "_" + std::string(each.engineName),
                                                prefix + " " + std::string(each.label), slotGroups[slot]));
                }
            }
        }
        for (const ListedParameter& each : group.parameters) {
            parameters.push_back(Listed(each.engineName, std::string(each.label), group.name));
        }
    }
    for (unsigned macro = 0; macro < macroCount; ++macro) {
        const std::string number = std::to_string(macro + 1);
        PluginParameter parameter;
        parameter.id = firstMacro + macro;
        parameter.symbol = "Macro" + number;
        parameter.name = "Macro " + number;
        parameter.group = "Macros";
        parameters.push_back(parameter);
    }
    PluginParameter bypassing;
    bypassing.id = bypass;
    bypassing.symbol = "Bypass";
    bypassing.name = "Bypass";
    bypassing.group = masterGroup;
    bypassing.choices = {"off", "on"};
    bypassing.stepCount = 2;
    bypassing.isSwitch = true;
    parameters.push_back(bypassing);
    for (const PluginParameter& parameter : parameters) {
        byId.push_back(&parameter);
    }
    std::ranges::sort(byId, {}, &PluginParameter::id);
}

const PluginParameter* PluginParameters::Find(std::uint32_t id) const {
    const auto found = std::ranges::lower_bound(byId, id, {}, &PluginParameter::id);
    return found == byId.end() || (*found)->id != id ? nullptr : *found;
}

std::uint32_t PluginParameters::EngineCount() const {
    return static_cast<std::uint32_t>(ParameterCatalog::OfInstrument().Parameters().size());
}

float PluginParameters::ToPosition(std::uint32_t id, float value) const {
    return id < EngineCount() ? ParameterCatalog::OfInstrument().ToPosition(id, value)
                              : std::clamp(value, 0.0F, 1.0F);
}

float PluginParameters::ToValue(std::uint32_t id, float position) const {
    return id < EngineCount() ? ParameterCatalog::OfInstrument().ToValue(id, position) : position;
}

std::string PluginParameters::Text(std::uint32_t id, float position) const {
    if (id < EngineCount()) {
        const ParameterInfo& info = ParameterCatalog::OfInstrument().Parameters()[id];
        float value = ToValue(id, position);
        if (info.isSwitch) {
            value = position >= 0.5F ? info.maximum : info.minimum;
        }
        return host::FormatValue(info, Shown(info, value));
    }
    if (id == bypass) {
        return position >= 0.5F ? "on" : "off";
    }
    return std::to_string(static_cast<int>(std::round(position * 100.0F))) + " %";
}

float PluginParameters::PositionOf(const ParameterSetting& setting) const {
    return setting.id < EngineCount() ? host::PositionOf(ParameterCatalog::OfInstrument(), setting)
                                      : std::clamp(setting.number, 0.0F, 1.0F);
}

std::optional<float> PluginParameters::PositionOf(std::uint32_t id, std::string_view text) const {
    const ParameterCatalog& catalog = ParameterCatalog::OfInstrument();
    // A macro reads as a knob, the bypass as a switch of the engine.
    const bool isOurs = id >= EngineCount();
    ParameterInfo ours;
    ours.isSwitch = id == bypass;
    try {
        ParameterSetting setting = host::ParseSetting(isOurs ? ours : catalog.Parameters()[id], text);
        setting.id = id;
        return PositionOf(setting);
    } catch (const host::UsageError&) {
        return std::nullopt;
    }
}

} // namespace orphia::plugin
