// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parameters/ParameterInfo.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::plugin {

/// One parameter as hosts list it. Its place on the way from the left end to the right one, 0 to 1, is its
/// position; a host that automates real values converts with PluginParameters.
struct PluginParameter {
    /// Never changes: the engine's own, or one of those below.
    std::uint32_t id = 0;
    /// Of letters, digits and "_"; never changes either.
    std::string symbol;
    std::string name;
    /// What stands together on a panel.
    std::string_view group;
    /// "dB", "Hz", ...; empty for none.
    std::string_view unit;
    /// Names of the steps, where they have some: as many as stepCount.
    std::vector<std::string> choices;
    /// 0 for what moves evenly; a switch has 2.
    unsigned stepCount = 0;
    bool isSwitch = false;
    /// The position in a new instance.
    float start = 0.0F;
    /// Real values at the ends and in the middle.
    float minimum = 0.0F;
    float maximum = 1.0F;
    float middle = 0.5F;
};

/// What hosts list: what a player turns while it sounds, sixteen macros and a bypass. All others are reached
/// by state, by macros and by PluginInstrument::Set.
class PluginParameters {
public:
    static constexpr unsigned macroCount = 16;
    /// Macro n has firstMacro + n.
    static constexpr std::uint32_t firstMacro = 1'000'000;
    static constexpr std::uint32_t bypass = 1'000'100;

    /// The same for all instances; built when it is first asked for, after that for any thread.
    static const PluginParameters& Get();

    /// In the order of the panel, group after group. An index is none to keep: the id is.
    const std::vector<PluginParameter>& All() const { return parameters; }
    /// Null for one that hosts do not list.
    const PluginParameter* Find(std::uint32_t id) const;

    /// These know all parameters of the engine, too. An unknown id gives 0 and an empty text.
    float ToPosition(std::uint32_t id, float value) const;
    float ToValue(std::uint32_t id, float position) const;
    /// Where a setting leads; a macro and the bypass are positions themselves.
    float PositionOf(const host::ParameterSetting& setting) const;
    /// "-12 dB", "1/8", "on".
    std::string Text(std::uint32_t id, float position) const;
    /// Reads what Text writes, and what a user types instead. Nothing for what makes no sense.
    std::optional<float> PositionOf(std::uint32_t id, std::string_view text) const;

    /// How many parameters the engine has; all ids below are its own.
    std::uint32_t EngineCount() const;

private:
    PluginParameters();
    PluginParameters(const PluginParameters&) = delete;
    PluginParameters& operator=(const PluginParameters&) = delete;

    std::vector<PluginParameter> parameters;
    std::vector<const PluginParameter*> byId;
};

} // namespace orphia::plugin
