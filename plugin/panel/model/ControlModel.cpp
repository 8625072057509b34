// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/ControlModel.h"

#include "host/parameters/ParameterCatalog.h"
#include "host/parameters/ParameterText.h"
#include "host/presets/NeutralStart.h"
#include "plugin/core/parameters/PluginParameters.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>

namespace orphia::panel {

namespace {

using host::ParameterCatalog;
using host::ParameterInfo;
using host::ParameterKind;
using plugin::PluginParameters;

bool IsOfEngine(std::uint32_t id) { return id < PluginParameters::Get().EngineCount(); }

/// "DecayCurve" becomes "Decay Curve", "Osc1Shape" "Osc1 Shape", "GainBand12" "Gain Band 12".
std::string Spaced(std::string_view name) {
    std::string text;
    const std::size_t number = name.find_last_not_of("0123456789") + 1;
    for (std::size_t n = 0; n < name.size(); ++n) {
        const auto isUpper = [&](std::size_t at) {
            return std::isupper(static_cast<unsigned char>(name[at]));
        };
        const bool startsWord = n > 0 && isUpper(n) && name[n - 1] != ' ' &&
                                (!isUpper(n - 1) || (n + 1 < name.size() && std::islower(name[n + 1])));
        text += startsWord || (n > 0 && n == number) ? " " : "";
        text += name[n];
    }
    return text;
}

ControlKind KindOf(const ControlModel& model) {
    if (model.stepCount == 2) {
        const bool isOnAndOff =
            model.choices.empty() || model.choices == std::vector<std::string>{"off", "on"};
        return isOnAndOff ? ControlKind::Switch : ControlKind::Choice;
    }
    if (model.stepCount > 0) {
        return model.choices.empty() ? ControlKind::Stepper : ControlKind::Choice;
    }
    return ControlKind::Knob;
}

/// As far to one side of what is neutral as to the other.
bool IsTwoSided(const ParameterInfo& info) {
    const bool hasNeutralMiddle = info.name.ends_with("_Pan") || info.name.ends_with("StereoPan_Width");
    return hasNeutralMiddle || info.minimum == -info.maximum;
}

std::vector<std::string> ChoicesOf(const ParameterInfo& info, unsigned stepCount) {
    std::vector<std::string> choices;
    for (unsigned step = 0; !info.choices.empty() && step < stepCount; ++step) {
        choices.emplace_back(host::ChoiceOf(info, step));
        if (choices.back().empty()) {
            return {};
        }
    }
    return choices;
}

/// Two or three figures that count are enough on a panel.
std::string Rounded(float value, std::string_view unit) {
    std::string_view shown = unit;
    if (unit == "Hz" && std::fabs(value) >= 1000.0F) {
        value /= 1000.0F;
        shown = "kHz";
    } else if (unit == "ms" && std::fabs(value) >= 1000.0F) {
        value /= 1000.0F;
        shown = "s";
    } else if (unit == "s" && std::fabs(value) < 0.9995F) {
        value *= 1000.0F;
        shown = "ms";
    }
    const float size = std::fabs(value);
    const bool isCoarse = shown == "dB" || shown == "st";
    const int digits = size >= 99.95F ? 0 : size >= 9.995F || isCoarse ? 1 : size >= 0.9995F ? 2 : 3;
    std::string number = fmt::format("{:.{}f}", value, digits);
    if (number.find('.') != std::string::npos) {
        number.erase(number.find_last_not_of('0') + 1);
        number.erase(number.find_last_not_of('.') + 1);
    }
    if (number == "-0") {
        number = "0";
    }
    return shown.empty() ? number : fmt::format("{} {}", number, shown);
}

} // namespace

unsigned ControlModel::StepAt(float position) const {
    return stepCount < 2 ? 0
                         : static_cast<unsigned>(std::lround(std::clamp(position, 0.0F, 1.0F) *
                                                             static_cast<float>(stepCount - 1)));
}

float ControlModel::PositionOfStep(unsigned step) const {
    return stepCount < 2
               ? 0.0F
               : static_cast<float>(std::min(step, stepCount - 1)) / static_cast<float>(stepCount - 1);
}

float ControlModel::Snap(float position) const {
    position = std::clamp(position, 0.0F, 1.0F);
    return stepCount < 2 ? position : PositionOfStep(StepAt(position));
}

float ControlModel::Moved(float position, int clicks, bool isFine) const {
    if (stepCount >= 2) {
        const int step = static_cast<int>(StepAt(position)) + clicks;
        return PositionOfStep(static_cast<unsigned>(std::max(step, 0)));
    }
    return std::clamp(position + static_cast<float>(clicks) * (isFine ? 0.001F : 0.01F), 0.0F, 1.0F);
}

std::string LabelOf(std::uint32_t id) {
    if (const auto* const listed = PluginParameters::Get().Find(id)) {
        return listed->name;
    }
    if (!IsOfEngine(id)) {
        return {};
    }
    std::string_view name = ParameterCatalog::OfInstrument().Parameters()[id].name;
    name.remove_prefix(name.rfind('_') == std::string_view::npos ? 0 : name.rfind('_') + 1);
    return Spaced(name);
}

std::string PathLabelOf(std::uint32_t id) {
    std::string_view path = ParameterCatalog::OfInstrument().Parameters().at(id).name;
    for (const std::string_view clear : {"BodeVocoder_", "Modulator_Sampler_", "Carrier_Oscillators_"}) {
        if (path.starts_with(clear)) {
            path.remove_prefix(clear.find('_') + 1);
            break;
        }
    }
    std::string label;
    while (!path.empty()) {
        const std::string_view word = path.substr(0, path.find('_'));
        path.remove_prefix(std::min(path.size(), word.size() + 1));
        if (!label.empty()) {
            label += ' ';
        }
        label += Spaced(word);
    }
    return label;
}

ControlModel Describe(std::uint32_t id, std::string_view label, ControlKind kind) {
    ControlModel model;
    model.id = id;
    model.label = label.empty() ? LabelOf(id) : std::string(label);
    if (IsOfEngine(id)) {
        const ParameterInfo& info = ParameterCatalog::OfInstrument().Parameters()[id];
        model.name = info.name;
        model.stepCount = info.isSwitch ? 2 : info.kind == ParameterKind::Stepped ? info.stepCount : 0;
        model.choices = ChoicesOf(info, model.stepCount);
        model.isBipolar = IsTwoSided(info) && model.choices.empty();
        model.tooltip = info.description.empty()
                            ? fmt::format("{}: {}", info.name, host::FormatRange(info))
                            : fmt::format("{}\n{}", info.description, host::FormatRange(info));
        model.start = host::NeutralStart::Get().Position(id);
    } else if (const auto* const listed = PluginParameters::Get().Find(id)) {
        model.name = listed->symbol;
        model.stepCount = listed->stepCount;
        model.start = listed->start;
    }
    model.kind = kind == ControlKind::Automatic ? KindOf(model) : kind;
    return model;
}

std::uint32_t EngineId(std::string_view name) { return ParameterCatalog::OfInstrument().Find(name).id; }

ControlModel Describe(std::string_view engineName, std::string_view label, ControlKind kind) {
    return Describe(EngineId(engineName), label, kind);
}

std::string ValueText(std::uint32_t id, float position) {
    const PluginParameters& parameters = PluginParameters::Get();
    if (!IsOfEngine(id)) {
        return parameters.Text(id, position);
    }
    const ParameterInfo& info = ParameterCatalog::OfInstrument().Parameters()[id];
    if (info.isSwitch || !info.choices.empty()) {
        return parameters.Text(id, position);
    }
    return Rounded(parameters.ToValue(id, position), host::UnitText(info.unit));
}

std::optional<float> ReadValue(std::uint32_t id, std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) {
        text.remove_suffix(1);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    const std::optional<float> read = PluginParameters::Get().PositionOf(id, text);
    // What is shown at an end may be rounded beyond it.
    for (const float end : {0.0F, 1.0F}) {
        if (!read && text == ValueText(id, end)) {
            return end;
        }
    }
    return read;
}

} // namespace orphia::panel
