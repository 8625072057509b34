// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/ParameterInfo.h"

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
};

/// The traits of a parameter of a tree, by its full name.
ParameterTraits VocoderTraitsOf(std::string_view name);
ParameterTraits CarrierTraitsOf(std::string_view name);
ParameterTraits ModulatorTraitsOf(std::string_view name);

/// One line of a table of traits.
struct TraitsRow {
    /// The end of the name; "#" stands for a number.
    std::string_view ending;
    ParameterTraits traits;
};

/// The first row that fits a name, else a circuit constant without a unit.
ParameterTraits FindTraits(std::span<const TraitsRow> rows, std::string_view name);

} // namespace orphia::host
