// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/effects/EffectOrder.h"

#include "host/parameters/ModulationRoutes.h"
#include "host/parameters/ParameterCatalog.h"
#include "plugin/panel/model/EffectSlots.h"
#include "plugin/panel/model/Modulation.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace orphia::panel {

namespace {

constexpr unsigned count = EffectSlots::slotCount;
using Ids = std::vector<std::uint32_t>;

/// These set others, which move themselves.
bool IsShortcut(const std::string& name) {
    return name.ends_with("_Dry_Wet") || name.ends_with("_LFOSimple_RateType");
}

/// All that belongs to a slot, in the same order for each.
Ids IdsOf(unsigned slot) {
    Ids ids;
    const std::string prefix = "FX" + std::to_string(slot + 1) + "_";
    for (const host::ParameterInfo& info : host::ParameterCatalog::OfInstrument().Parameters()) {
        if (info.IsSettable() && info.name.starts_with(prefix) && !IsShortcut(info.name)) {
            ids.push_back(info.id);
        }
    }
    for (unsigned signal = 0; signal < 2; ++signal) {
        for (unsigned source = 0; source < Modulation::sourceCount; ++source) {
            ids.push_back(
                host::ModulationRoutes::AmountId(source, Modulation::EffectDestination(slot, signal)));
        }
    }
    return ids;
}

/// Where each parameter of an effect goes.
struct Moves {
    std::array<Ids, count> ids;
    /// By the slot that an effect comes from.
    std::array<unsigned, count> to{};

    std::uint32_t TargetOf(std::uint32_t id) const {
        for (unsigned slot = 0; slot < count; ++slot) {
            const auto found = std::ranges::find(ids[slot], id);
            if (found != ids[slot].end()) {
                return ids[to[slot]][static_cast<std::size_t>(found - ids[slot].begin())];
            }
        }
        return id;
    }
};

Moves MovesOf(unsigned from, unsigned to) {
    Moves moves;
    std::vector<unsigned> order;
    for (unsigned slot = 0; slot < count; ++slot) {
        moves.ids[slot] = IdsOf(slot);
        if (slot != from) {
            order.push_back(slot);
        }
    }
    order.insert(order.begin() + to, from);
    for (unsigned slot = 0; slot < count; ++slot) {
        moves.to[order[slot]] = slot;
    }
    return moves;
}

} // namespace

void MoveEffect(const plugin::PluginInstrument& instrument, History& history, unsigned from, unsigned to) {
    if (from >= count || to >= count || from == to) {
        return;
    }
    const Moves moves = MovesOf(from, to);
    std::array<std::vector<float>, count> positions;
    for (unsigned slot = 0; slot < count; ++slot) {
        for (const std::uint32_t id : moves.ids[slot]) {
            positions[slot].push_back(instrument.Position(id));
        }
    }
    const Gesture gesture(history, "Order of effects");
    for (unsigned macro = 0; macro < plugin::PluginParameters::macroCount; ++macro) {
        plugin::Macro next = instrument.MacroOf(macro);
        for (plugin::MacroTarget& target : next.targets) {
            target.id = moves.TargetOf(target.id);
        }
        history.SetMacro(macro, next);
    }
    for (unsigned slot = 0; slot < count; ++slot) {
        const Ids& targets = moves.ids[moves.to[slot]];
        for (std::size_t n = 0; n < targets.size(); ++n) {
            history.Set(targets[n], positions[slot][n]);
        }
    }
}

} // namespace orphia::panel
