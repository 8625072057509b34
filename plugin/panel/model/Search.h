// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::panel {

/// Whether each word of what was typed begins a word of the text, in any case: "cla rob" finds "Classic
/// Robot".
bool Matches(std::string_view text, std::string_view typed);

/// The programs that fit what was typed by name, id, description or tag, in the instrument's order, those
/// whose name fits first.
std::vector<std::uint32_t> FindPrograms(const std::vector<plugin::PluginInstrument::Program>& programs,
                                        std::string_view typed);

/// The settable parameters of the engine that fit, by name or description, in order of id: of role "control"
/// and "circuit"; the cells of the matrices have places of their own.
std::vector<std::uint32_t> FindParameters(std::string_view typed, bool withCircuit);

} // namespace orphia::panel
