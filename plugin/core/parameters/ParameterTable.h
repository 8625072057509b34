// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <span>
#include <string_view>

namespace orphia::plugin {

/// A parameter of the engine that hosts list.
struct ListedParameter {
    /// The engine's full name.
    std::string_view engineName;
    std::string_view label;
};

struct ParameterGroup {
    std::string_view name;
    std::span<const ListedParameter> parameters;
};

/// In the order of the panel, but for the effects.
std::span<const ParameterGroup> PanelGroups();

/// Those of one slot; the engine's names go on behind "FX1_", "FX2_", "FX3_".
std::span<const ListedParameter> SlotParameters();

} // namespace orphia::plugin
