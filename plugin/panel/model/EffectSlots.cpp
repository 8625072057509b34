// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/EffectSlots.h"

#include "host/parameters/ParameterCatalog.h"

#include <array>
#include <string>
#include <string_view>

namespace orphia::panel {

namespace {

/// In the order of the types.
constexpr auto mixNames =
    std::to_array<std::string_view>({"", "Dattorro_DryWet", "Delay_DryWet", "Chorus_DryWet", "Flanger_DryWet",
                                     "Phaser_DryWet", "TS808_DryWet", "Compressor_Wet", "BitCrusher_DryWet",
                                     "MultiModeFilter_DryWet", "ParamEq_Scale", "StereoPan_DryWet"});

std::uint32_t IdOf(unsigned slot, std::string_view name) {
    return host::ParameterCatalog::OfInstrument()
        .Find("FX" + std::to_string(slot + 1) + "_" + std::string(name))
        .id;
}

} // namespace

std::uint32_t EffectSlots::TypeId(unsigned slot) { return IdOf(slot, "ModuleType"); }
std::uint32_t EffectSlots::BypassId(unsigned slot) { return IdOf(slot, "Bypass"); }

std::optional<std::uint32_t> EffectSlots::MixId(unsigned slot, unsigned type) {
    return type == 0 || type >= mixNames.size() ? std::nullopt : std::optional(IdOf(slot, mixNames[type]));
}

} // namespace orphia::panel
