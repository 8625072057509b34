// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/parameters/ParameterExchange.h"

namespace orphia::plugin {

ParameterExchange::ParameterExchange()
    : engineCount(PluginParameters::Get().EngineCount()),
      count(engineCount + PluginParameters::macroCount + 1), shown(count), wishes(count),
      wished((count + bits - 1) / bits), told(wished.size()) {}

std::uint32_t ParameterExchange::IndexOf(std::uint32_t id) const {
    if (id < engineCount) {
        return id;
    }
    const std::uint32_t macro = id - PluginParameters::firstMacro;
    if (macro < PluginParameters::macroCount) {
        return engineCount + macro;
    }
    return id == PluginParameters::bypass ? count - 1 : count;
}

std::uint32_t ParameterExchange::IdOf(std::uint32_t index) const {
    if (index < engineCount) {
        return index;
    }
    return index == count - 1 ? PluginParameters::bypass
                              : PluginParameters::firstMacro + (index - engineCount);
}

void ParameterExchange::Want(std::uint32_t index, float position) {
    std::uint32_t generation = 0;
    do {
        generation = newest;
        wishes[index].store(std::uint64_t{generation} << 32U | std::bit_cast<std::uint32_t>(position),
                            std::memory_order_release);
        Show(index, position);
        Mark(wished, index);
        hasWishes.store(true, std::memory_order_release);
        // One that was ordered in between may have been built from all but this.
    } while (generation != newest);
}

} // namespace orphia::plugin
