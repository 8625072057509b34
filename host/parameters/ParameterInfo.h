// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace orphia::host {

enum class ParameterKind {
    /// The value is the knob position, 0 to 1.
    Knob,
    /// One of stepCount values.
    Stepped,
    /// A curve between minimum and maximum.
    Mapped
};

enum class ParameterUnit {
    None,
    Decibel,
    Second,
    Millisecond,
    Hertz,
    /// Of the whole, where that is not the knob's position.
    Percent,
    Semitone,
    Cent,
    /// An angle.
    Degree,
    /// Quarter notes.
    Beat
};

enum class ParameterRole {
    /// What a player turns.
    Control,
    /// A cell of a matrix.
    Route,
    /// What a song plays on: wheels, pedals, pressure. A setting is where it starts.
    Controller,
    /// A constant of the modelled circuit; some of them are rewritten by the engine as it runs.
    Circuit,
    /// A light or meter that the engine writes; cannot be set.
    Output,
    /// What a host tells the engine, as a bracket around a preset; not for users.
    Command
};

/// What a program needs to know of one parameter of the engine.
struct ORPHIA_PUBLIC ParameterInfo {
    std::uint32_t id = 0;
    /// The path of modules joined by "_"; no two are alike.
    std::string name;
    /// A few words, empty for most circuit constants.
    std::string_view description;
    ParameterKind kind = ParameterKind::Knob;
    ParameterUnit unit = ParameterUnit::None;
    ParameterRole role = ParameterRole::Circuit;
    /// "on" and "off" name its two ends.
    bool isSwitch = false;
    /// Names of its steps, joined by "|"; empty when they have none.
    std::string_view choices;
    /// The real range, in the unit.
    float minimum = 0.0F;
    float maximum = 1.0F;
    /// Stepped only.
    unsigned stepCount = 0;
    float stepWidth = 0.0F;
    /// The real value in a fresh engine.
    float start = 0.0F;

    bool IsSettable() const { return role != ParameterRole::Output && role != ParameterRole::Command; }
};

/// One parameter with what it shall be set to.
struct ORPHIA_PUBLIC ParameterSetting {
    enum class Scale {
        /// The real value, in the parameter's unit.
        Value,
        /// The position of the knob, 0 to 1.
        Position
    };
    std::uint32_t id = 0;
    Scale scale = Scale::Value;
    float number = 0.0F;

    bool operator==(const ParameterSetting&) const = default;
};

} // namespace orphia::host
