// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parameters/ParameterInfo.h"

#include <span>
#include <string_view>

namespace orphia::host {

/// What the engine does not tell of its parameters: unit, use and a few words.
struct ParameterTraits {
    ParameterRole role = ParameterRole::Circuit;
    ParameterUnit unit = ParameterUnit::None;
    std::string_view description;
    /// A raw knob of which only "above the middle" counts.
    bool isSwitch = false;
    /// A stepped parameter of which the engine reads the position between the steps.
    bool isKnob = false;
    /// The names of a stepped parameter's values in order, joined by "|"; an empty name is none.
    std::string_view choices = {};
};

/// A control whose steps have names.
constexpr ParameterTraits Choice(std::string_view description, std::string_view choices) {
    return {ParameterRole::Control, ParameterUnit::None, description, false, false, choices};
}

/// The traits of a parameter of a tree, by its full name.
ParameterTraits VocoderTraitsOf(std::string_view name);
ParameterTraits CarrierTraitsOf(std::string_view name);
ParameterTraits ModulatorTraitsOf(std::string_view name);
ParameterTraits InstrumentTraitsOf(std::string_view name);
/// Of the effects, with their slot: "FX1_Delay_Time".
ParameterTraits EffectTraitsOf(std::string_view name);

/// One line of a table of traits.
struct TraitsRow {
    /// The end of the name; "#" stands for a number.
    std::string_view ending;
    ParameterTraits traits;
};

/// The first row that fits a name, else what is given: a circuit constant without a unit.
ParameterTraits FindTraits(std::span<const TraitsRow> rows, std::string_view name,
                           const ParameterTraits& otherwise = {});

} // namespace orphia::host
