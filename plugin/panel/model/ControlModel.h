// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::panel {

/// How a control looks and is moved.
enum class ControlKind {
    /// As the parameter suggests.
    Automatic,
    Knob,
    /// A horizontal or vertical one.
    Slider,
    /// On and off.
    Switch,
    /// A list of names.
    Choice,
    /// Numbers, one after the other.
    Stepper
};

/// What a control shows of one parameter. All texts are those of the catalogue.
struct ControlModel {
    std::uint32_t id = 0;
    /// Short: "Attack".
    std::string label;
    /// The engine's full name, for search and for screen readers.
    std::string name;
    /// What it does to the sound, and its range.
    std::string tooltip;
    ControlKind kind = ControlKind::Knob;
    /// 0 for what moves evenly.
    unsigned stepCount = 0;
    /// As many as stepCount, or none.
    std::vector<std::string> choices;
    /// Its middle means nothing, and both sides are alike: drawn from the middle.
    bool isBipolar = false;
    /// Of a new instrument.
    float start = 0.0F;

    /// The nearest position that the parameter can have.
    float Snap(float position) const;
    unsigned StepAt(float position) const;
    float PositionOfStep(unsigned step) const;
    /// By so many of its own smallest moves: steps, or hundredths; `isFine` makes a tenth of it where there
    /// are no steps.
    float Moved(float position, int clicks, bool isFine) const;
};

/// Of the parameter with this name; throws host::UsageError.
std::uint32_t EngineId(std::string_view name);

/// Of a parameter of the engine, a macro or the bypass. An empty label is taken from the parameter's own
/// name.
ControlModel Describe(std::uint32_t id, std::string_view label = {},
                      ControlKind kind = ControlKind::Automatic);
/// By the engine's name, as ParameterCatalog::Find has it; throws host::UsageError.
ControlModel Describe(std::string_view engineName, std::string_view label = {},
                      ControlKind kind = ControlKind::Automatic);

/// The short name of a parameter: as hosts list it, else "Decay Curve" from "Modulator_ADSR_DecayCurve".
std::string LabelOf(std::uint32_t id);
/// Its whole path in words, without what is clear: "Sampler Slot 3 Root Note".
std::string PathLabelOf(std::uint32_t id);

/// "-12 dB", "1/8", "on": as the instrument tells it; shortened to what fits a control: "1.2 kHz", "-12.3
/// dB".
std::string ValueText(std::uint32_t id, float position);
/// Reads what a player types; nothing for what makes no sense.
std::optional<float> ReadValue(std::uint32_t id, std::string_view text);

} // namespace orphia::panel
