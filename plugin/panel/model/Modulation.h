// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orphia::panel {

/// The modulation matrix: what moves what, how far, and where that has a control at present. Sources and
/// destinations are counted from 0, as host::ModulationRoutes names them.
class Modulation {
public:
    static constexpr unsigned sourceCount = 8;
    static constexpr unsigned destinationCount = 30;

    explicit Modulation(const plugin::PluginInstrument& instrument);

    struct Route {
        unsigned source = 0;
        unsigned destination = 0;
        /// -1 to 1: of the way that a control has.
        float amount = 0.0F;
    };
    std::vector<Route> UsedRoutes() const;
    float Amount(unsigned source, unsigned destination) const;
    /// The switch that lets a source act; nothing for those that always do.
    static std::optional<std::uint32_t> SwitchOf(unsigned source);

    /// "LFO", "Velocity": short.
    static std::string_view SourceLabel(unsigned source);
    /// "Osc 1 Pitch", "FX 1 First".
    static std::string_view DestinationLabel(unsigned destination);
    /// The parameter that a destination moves; nothing where that depends on what is chosen.
    static std::optional<std::uint32_t> ParameterOf(unsigned destination);
    static std::optional<unsigned> DestinationOf(std::uint32_t parameter);

    /// -1 to 1 or 0 to 1: what the source gives now, from what the engine tells, and from the keys. Once for
    /// each picture, with the level of the voice, 0 to 1.
    void Update(float voiceLevel);
    float SourceValue(unsigned source) const { return values[source]; }
    /// Where a control is moved to; nothing when nothing moves it.
    std::optional<float> ModulatedPosition(std::uint32_t parameter) const;

private:
    const plugin::PluginInstrument& instrument;
    std::array<float, sourceCount> values{};
    std::array<bool, sourceCount> isOn{};
    /// Destinations that some source reaches.
    std::array<bool, destinationCount> isUsed{};
};

} // namespace orphia::panel
