// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/presets/Preset.h"
#include "plugin/core/parameters/MidiLearn.h"
#include "plugin/core/parameters/PluginParameters.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::plugin {

/// A macro moves parameters of the engine between two positions each: `from` where the macro is at 0. One
/// that ends where it begins, or moves back, is fine.
struct MacroTarget {
    std::uint32_t id = 0;
    float from = 0.0F;
    float to = 1.0F;

    float At(float position) const { return from + (to - from) * position; }
    bool operator==(const MacroTarget&) const = default;
};

struct Macro {
    static constexpr std::size_t mostTargets = 16;

    /// As the player calls it; empty for "Macro 1".
    std::string name;
    std::vector<MacroTarget> targets;

    bool operator==(const Macro&) const = default;
};

/// How a host keeps paths of files within a state, so that a project can move; where it has no wish, a
/// function may be empty.
struct PathMapping {
    std::function<std::string(const std::filesystem::path&)> toState;
    std::function<std::filesystem::path(const std::string&)> toFile;

    /// That of the host which saves or loads on this thread, for toolkits that do not hand it on.
    static PathMapping& OfThread();
};

/// All that a plug-in keeps: a preset, and beside it, in the same text, an object "plugin" with what only
/// plug-ins have. So each state is a preset, too.
struct PluginState {
    static constexpr int currentVersion = 1;

    host::Preset preset;
    std::array<Macro, PluginParameters::macroCount> macros;
    std::array<float, PluginParameters::macroCount> macroPositions{};
    bool isBypassed = false;
    /// The id of the program that it began with; empty for none.
    std::string program;
    /// Without them those that are there stay.
    std::optional<MidiLearn::Assignments> controllers;

    /// Of a parameter of the engine, among the settings of the preset.
    void SetPosition(std::uint32_t id, float position);
};

std::string FormatState(const PluginState& state, const PathMapping& mapping = {});

/// A text of an older version has all else as in a new instance. Of a newer one all is taken that is known;
/// what is left out is told in `warnings`. Throws FileError for what is no state.
PluginState ParseState(std::string_view text, std::vector<std::string>& warnings,
                       const PathMapping& mapping = {});

} // namespace orphia::plugin
