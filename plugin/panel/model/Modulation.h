// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"
#include "plugin/panel/model/EffectSlots.h"

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
    /// As of the last Update or Look.
    const std::vector<Route>& UsedRoutes() const { return used; }
    float Amount(unsigned source, unsigned destination) const;
    /// The switch that lets a source act; nothing for those that always do.
    static std::optional<std::uint32_t> SwitchOf(unsigned source);

    /// What the first (0) or second (1) signal of an effect's slot is, from 0.
    static constexpr unsigned EffectDestination(unsigned slot, unsigned signal) {
        return firstOfEffects + EffectSlots::slotCount * signal + slot;
    }

    /// It gives -1 to 1, and not 0 to 1.
    static bool IsTwoSided(unsigned source);
    /// "LFO", "Velocity": short.
    static std::string_view SourceLabel(unsigned source);
    /// "Osc 1 Pitch", "FX 1 Drive"; "FX 1 First" while that effect has nothing to be moved.
    const std::string& DestinationLabel(unsigned destination) const { return labels[destination]; }
    /// The parameter that a destination moves: of an effect, a control of what is in the slot. Nothing where
    /// there is none.
    std::optional<std::uint32_t> ParameterOf(unsigned destination) const { return parameters[destination]; }
    std::optional<unsigned> DestinationOf(std::uint32_t parameter) const;

    /// Reads all of the matrix, and what is in the slots: after a change on the panel.
    void Look();
    /// -1 to 1 or 0 to 1: what the source gives now, from what the engine tells, and from the keys. Once for
    /// each picture, with the level of the voice, 0 to 1. Of the matrix, which seldom moves, it reads one
    /// source, and so finds within a quarter of a second what others change.
    void Update(float voiceLevel);
    /// Another number when another route is used or a destination moves something else.
    unsigned Generation() const { return generation; }
    float SourceValue(unsigned source) const { return values[source]; }
    /// Where a control is moved to; nothing when nothing moves it.
    std::optional<float> ModulatedPosition(std::uint32_t parameter) const;

private:
    static constexpr unsigned firstOfEffects = 2;

    bool ReadSource(unsigned source);
    bool ReadSlots();
    void ListUsed();

    const plugin::PluginInstrument& instrument;
    std::array<std::array<float, sourceCount>, destinationCount> amounts{};
    std::vector<Route> used;
    std::array<std::optional<std::uint32_t>, destinationCount> parameters;
    std::array<std::string, destinationCount> labels;
    std::array<unsigned, EffectSlots::slotCount> types{};
    unsigned nextSource = 0;
    unsigned generation = 0;
    std::array<float, sourceCount> values{};
    std::array<bool, sourceCount> isOn{};
};

} // namespace orphia::panel
