// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/ParameterInfo.h"

#include <string_view>

namespace orphia::host {

/// What the engine does not tell of its parameters: unit, use and a few words.
struct ParameterTraits {
    ParameterRole role = ParameterRole::Circuit;
    ParameterUnit unit = ParameterUnit::None;
    std::string_view description;
    /// A raw knob of which only "above the middle" counts.
    bool isSwitch = false;
};

/// The traits of a parameter, by its full name.
ParameterTraits TraitsOf(std::string_view name);

} // namespace orphia::host
