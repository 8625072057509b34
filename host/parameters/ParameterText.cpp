// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterText.h"

#include "host/common/Errors.h"
#include "support/platform/Numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace orphia::host {

namespace {

using Scale = ParameterSetting::Scale;

struct UnitName {
    std::string_view text;
    ParameterUnit unit;
    double factor;
};

constexpr std::array unitNames = {
    UnitName{"db", ParameterUnit::Decibel, 1.0},    UnitName{"s", ParameterUnit::Second, 1.0},
    UnitName{"ms", ParameterUnit::Second, 1e-3},    UnitName{"hz", ParameterUnit::Hertz, 1.0},
    UnitName{"khz", ParameterUnit::Hertz, 1e3},     UnitName{"ms", ParameterUnit::Millisecond, 1.0},
    UnitName{"s", ParameterUnit::Millisecond, 1e3}, UnitName{"st", ParameterUnit::Semitone, 1.0},
    UnitName{"ct", ParameterUnit::Semitone, 0.01},  UnitName{"ct", ParameterUnit::Cent, 1.0},
    UnitName{"st", ParameterUnit::Cent, 100.0},     UnitName{"deg", ParameterUnit::Degree, 1.0},
    UnitName{"beats", ParameterUnit::Beat, 1.0},    UnitName{"beat", ParameterUnit::Beat, 1.0},
    UnitName{"%", ParameterUnit::Percent, 1.0},
};

std::string_view Trim(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const auto first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

/// The number at the start of a text, which is shortened by it.
std::optional<double> TakeNumber(std::string_view& text) {
    std::string_view rest = text;
    if (rest.starts_with('+') && !rest.starts_with("+-")) {
        rest.remove_prefix(1);
    }
    const Velmora::Platform::ParsedNumber parsed = Velmora::Platform::ParseNumber(rest);
    if (parsed.length == 0) {
        return std::nullopt;
    }
    rest.remove_prefix(parsed.length);
    text = Trim(rest);
    return parsed.number;
}

std::string_view NameOfUnit(ParameterUnit unit) {
    switch (unit) {
    case ParameterUnit::Decibel:
        return "dB";
    case ParameterUnit::Second:
    case ParameterUnit::Millisecond:
        return "s or ms";
    case ParameterUnit::Hertz:
        return "Hz or kHz";
    case ParameterUnit::Semitone:
    case ParameterUnit::Cent:
        return "st or ct";
    case ParameterUnit::Degree:
        return "deg";
    case ParameterUnit::Beat:
        return "beats";
    case ParameterUnit::Percent:
        return "%";
    case ParameterUnit::None:
        break;
    }
    return "no unit";
}

[[noreturn]] void RefuseText(const ParameterInfo& info, std::string_view text) {
    throw UsageError(fmt::format("{}: '{}' is not a value; it takes {}, or a knob position such as 50 %",
                                 info.name, Excerpt(text), FormatRange(info)));
}

[[noreturn]] void RefuseRange(const ParameterInfo& info, std::string_view text, std::string_view range) {
    throw UsageError(fmt::format("{}: '{}' is outside {}", info.name, Excerpt(text), range));
}

ParameterSetting Position(const ParameterInfo& info, std::string_view text, double number) {
    const auto position = static_cast<float>(number);
    if (!(position >= 0.0F && position <= 1.0F)) {
        RefuseRange(info, text, "the knob's 0 .. 1, 0 % .. 100 %");
    }
    // A raw knob has one scale only, so that equal settings are equal.
    return {info.id, info.kind == ParameterKind::Knob ? Scale::Value : Scale::Position, position};
}

ParameterSetting Value(const ParameterInfo& info, std::string_view text, double number) {
    // Compared in single precision: 0.001 s is within a range that begins at the float nearest to it.
    const auto value = static_cast<float>(number);
    if (!(value >= info.minimum && value <= info.maximum)) {
        RefuseRange(info, text, FormatRange(info));
    }
    if (info.kind == ParameterKind::Stepped) {
        const float steps = (value - info.minimum) / info.stepWidth;
        if (steps != std::round(steps)) {
            RefuseRange(info, text, FormatRange(info) + " in steps of " + fmt::format("{}", info.stepWidth));
        }
    }
    return {info.id, Scale::Value, value};
}

ParameterSetting ValueWithUnit(const ParameterInfo& info, std::string_view text, double number,
                               std::string_view unitText) {
    const std::string unit = Lower(unitText);
    if (unit == "%" && info.unit != ParameterUnit::Percent) {
        return Position(info, text, number * 0.01);
    }
    if (unit == "knob") {
        return Position(info, text, number);
    }
    const auto isKnown = [&unit](const UnitName& name) { return name.text == unit; };
    const auto fits = [&](const UnitName& name) { return isKnown(name) && name.unit == info.unit; };
    if (std::none_of(unitNames.begin(), unitNames.end(), isKnown)) {
        RefuseText(info, text);
    }
    const auto* const fitting = std::find_if(unitNames.begin(), unitNames.end(), fits);
    if (fitting == unitNames.end()) {
        throw UsageError(fmt::format("{}: '{}' has a wrong unit; it takes {}", info.name, Excerpt(text),
                                     NameOfUnit(info.unit)));
    }
    return Value(info, text, number * fitting->factor);
}

/// The number of the step that has a name, in any case.
std::optional<unsigned> StepOfChoice(const ParameterInfo& info, std::string_view text) {
    const std::string wanted = Lower(text);
    for (unsigned step = 0; step < info.stepCount; ++step) {
        const std::string_view choice = ChoiceOf(info, step);
        if (!choice.empty() && Lower(choice) == wanted) {
            return step;
        }
    }
    return std::nullopt;
}

/// The shortest digits that give the same float, without an exponent.
std::string Digits(float number) { return Velmora::Platform::FixedDigits(number == 0.0F ? 0.0F : number); }

/// Short times read better in ms; but only where that is the same number.
std::string Seconds(float value) {
    const float milliseconds = value * 1000.0F;
    const std::string digits = Digits(milliseconds);
    const double readBack = Velmora::Platform::ParseNumber(digits).number;
    const bool exact = static_cast<float>(readBack * 1e-3) == value;
    return value < 1.0F && value > 0.0F && exact ? digits + " ms" : Digits(value) + " s";
}

} // namespace

std::string_view UnitText(ParameterUnit unit) {
    switch (unit) {
    case ParameterUnit::Decibel:
        return "dB";
    case ParameterUnit::Second:
        return "s";
    case ParameterUnit::Millisecond:
        return "ms";
    case ParameterUnit::Hertz:
        return "Hz";
    case ParameterUnit::Percent:
        return "%";
    case ParameterUnit::Semitone:
        return "st";
    case ParameterUnit::Cent:
        return "ct";
    case ParameterUnit::Degree:
        return "deg";
    case ParameterUnit::Beat:
        return "beats";
    case ParameterUnit::None:
        break;
    }
    return "";
}

std::string_view RoleText(ParameterRole role) {
    switch (role) {
    case ParameterRole::Control:
        return "control";
    case ParameterRole::Route:
        return "route";
    case ParameterRole::Controller:
        return "controller";
    case ParameterRole::Output:
        return "output";
    case ParameterRole::Command:
        return "command";
    case ParameterRole::Circuit:
        break;
    }
    return "circuit";
}

std::string_view ChoiceOf(const ParameterInfo& info, unsigned step) {
    std::string_view rest = info.choices;
    for (unsigned n = 0; n < step; ++n) {
        const auto bar = rest.find('|');
        rest = bar == std::string_view::npos ? std::string_view() : rest.substr(bar + 1);
    }
    return rest.substr(0, rest.find('|'));
}

ParameterSetting ParseSetting(const ParameterInfo& info, std::string_view text) {
    std::string_view rest = Trim(text);
    if (info.isSwitch && (Lower(rest) == "on" || Lower(rest) == "off")) {
        return {info.id, Scale::Value, Lower(rest) == "on" ? info.maximum : info.minimum};
    }
    if (const std::optional<unsigned> step = StepOfChoice(info, rest)) {
        return {info.id, Scale::Value, info.minimum + static_cast<float>(*step) * info.stepWidth};
    }
    const bool isPosition = rest.starts_with('@');
    if (isPosition) {
        rest = Trim(rest.substr(1));
    }
    const std::optional<double> number = TakeNumber(rest);
    if (!number || (isPosition && !rest.empty())) {
        RefuseText(info, text);
    }
    if (isPosition) {
        return Position(info, text, *number);
    }
    return rest.empty() ? Value(info, text, *number) : ValueWithUnit(info, text, *number, rest);
}

void CheckIsSettable(const ParameterInfo& info) {
    if (!info.IsSettable()) {
        throw UsageError(fmt::format("{} is {} and cannot be set", info.name,
                                     info.role == ParameterRole::Output ? "an output of the engine"
                                                                        : "a command of the host"));
    }
}

float PositionOf(const ParameterCatalog& catalog, const ParameterSetting& setting) {
    const float position =
        setting.scale == Scale::Position ? setting.number : catalog.ToPosition(setting.id, setting.number);
    return position > 0.0F ? std::min(position, 1.0F) : 0.0F;
}

ParameterSetting SettingAt(const ParameterCatalog& catalog, std::uint32_t id, float position) {
    constexpr int mostDigits = 9;
    const float value = catalog.ToValue(id, position);
    for (int digits = 1; digits <= mostDigits; ++digits) {
        const std::string text = fmt::format("{:.{}g}", value, digits);
        const auto candidate = static_cast<float>(Velmora::Platform::ParseNumber(text).number);
        const bool isInRange =
            candidate >= catalog.Parameters()[id].minimum && candidate <= catalog.Parameters()[id].maximum;
        if (isInRange && catalog.ToPosition(id, candidate) == position) {
            return {id, Scale::Value, candidate};
        }
    }
    return {id, Scale::Position, position};
}

ParameterSetting ParseAssignment(const ParameterCatalog& catalog, std::string_view text) {
    const auto equals = text.find('=');
    if (equals == std::string_view::npos || Trim(text.substr(0, equals)).empty()) {
        throw UsageError(fmt::format("'{}' is not of the form NAME=VALUE", Excerpt(text)));
    }
    const ParameterInfo& info = catalog.Find(Trim(text.substr(0, equals)));
    CheckIsSettable(info);
    return ParseSetting(info, text.substr(equals + 1));
}

std::string FormatValue(const ParameterInfo& info, float value) {
    if (info.kind == ParameterKind::Stepped && !info.choices.empty()) {
        const float step = (value - info.minimum) / info.stepWidth;
        const bool isStep = step >= 0.0F && step == std::floor(step);
        const std::string_view choice = isStep ? ChoiceOf(info, static_cast<unsigned>(step)) : "";
        if (!choice.empty()) {
            return std::string(choice);
        }
    }
    if (info.isSwitch && (value == info.minimum || value == info.maximum)) {
        return value == info.maximum ? "on" : "off";
    }
    switch (info.unit) {
    case ParameterUnit::Decibel:
        return Digits(value) + " dB";
    case ParameterUnit::Hertz:
        return Digits(value) + " Hz";
    case ParameterUnit::Second:
        return Seconds(value);
    case ParameterUnit::Millisecond:
        return Digits(value) + " ms";
    case ParameterUnit::Percent:
        return Digits(value) + " %";
    case ParameterUnit::Semitone:
        return Digits(value) + " st";
    case ParameterUnit::Cent:
        return Digits(value) + " ct";
    case ParameterUnit::Degree:
        return Digits(value) + " deg";
    case ParameterUnit::Beat:
        return Digits(value) + " beats";
    case ParameterUnit::None:
        break;
    }
    return Digits(value);
}

std::string FormatSetting(const ParameterInfo& info, const ParameterSetting& setting) {
    return setting.scale == Scale::Value ? FormatValue(info, setting.number)
                                         : fmt::format("@{}", Digits(setting.number));
}

std::string FormatRange(const ParameterInfo& info) {
    if (!info.choices.empty()) {
        std::string names(info.choices);
        for (auto bar = names.find('|'); bar != std::string::npos; bar = names.find('|', bar)) {
            names.replace(bar, 1, ", ");
        }
        return names;
    }
    if (info.isSwitch) {
        return info.kind == ParameterKind::Stepped ? "off, on" : "off .. on";
    }
    return FormatValue(info, info.minimum) + " .. " + FormatValue(info, info.maximum);
}

} // namespace orphia::host
