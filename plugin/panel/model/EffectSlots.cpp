// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/EffectSlots.h"

#include "host/parameters/ParameterCatalog.h"

#include <array>
#include <string>
#include <string_view>

namespace orphia::panel {

namespace {

struct Effect {
    std::string_view module;
    std::string_view mix;
};

/// In the order of the types.
constexpr auto effects = std::to_array<Effect>({
    {"", ""},
    {"Dattorro", "DryWet"},
    {"Delay", "DryWet"},
    {"Chorus", "DryWet"},
    {"Flanger", "DryWet"},
    {"Phaser", "DryWet"},
    {"TS808", "DryWet"},
    {"Compressor", "Wet"},
    {"BitCrusher", "DryWet"},
    {"MultiModeFilter", "DryWet"},
    {"ParamEq", "Scale"},
    {"StereoPan", "DryWet"},
});

const host::ParameterCatalog& Catalog() { return host::ParameterCatalog::OfInstrument(); }

std::string PrefixOf(unsigned slot) { return "FX" + std::to_string(slot + 1) + "_"; }

} // namespace

std::uint32_t EffectSlots::TypeId(unsigned slot) { return Catalog().Find(PrefixOf(slot) + "ModuleType").id; }
std::uint32_t EffectSlots::BypassId(unsigned slot) { return Catalog().Find(PrefixOf(slot) + "Bypass").id; }

std::optional<std::uint32_t> EffectSlots::MixId(unsigned slot, unsigned type) {
    if (type == 0 || type >= effects.size()) {
        return std::nullopt;
    }
    const Effect& effect = effects[type];
    return Catalog().Find(PrefixOf(slot) + std::string(effect.module) + "_" + std::string(effect.mix)).id;
}

std::vector<std::uint32_t> EffectSlots::Controls(unsigned slot, unsigned type) {
    std::vector<std::uint32_t> controls;
    if (type == 0 || type >= effects.size()) {
        return controls;
    }
    const std::string prefix = PrefixOf(slot) + std::string(effects[type].module) + "_";
    for (const host::ParameterInfo& info : Catalog().Parameters()) {
        if (info.role == host::ParameterRole::Control && info.name.starts_with(prefix)) {
            controls.push_back(info.id);
        }
    }
    return controls;
}

} // namespace orphia::panel
