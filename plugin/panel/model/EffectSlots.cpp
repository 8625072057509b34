// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/EffectSlots.h"

#include "plugin/core/parameters/Catalog.h"
#include "plugin/panel/model/ControlModel.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <string>
#include <string_view>

namespace orphia::panel {

namespace {

using plugin::Catalog;

struct Effect {
    std::string_view module;
    std::string_view mix;
    std::array<std::string_view, 2> signals;
    bool isOfBands = false; ///< controls end in the number of their band
};

/// In the order of the types.
constexpr auto effects = std::to_array<Effect>({
    {"", "", {}},
    {"Dattorro", "DryWet", {"DryWet", "Decay"}},
    {"Delay", "DryWet", {"DryWet", "Feedback"}},
    {"Chorus", "DryWet", {"DryWet", "Freq"}},
    {"Flanger", "DryWet", {"DryWet", "Manual"}},
    {"Phaser", "DryWet", {"Freq", "Feedback"}},
    {"TS808", "DryWet", {"Drive", "Tone"}},
    {"Compressor", "Wet", {"Wet", "Release"}},
    {"BitCrusher", "DryWet", {"Bits", "SampleRate"}},
    {"MultiModeFilter", "DryWet", {"Cutoff", "Resonance"}},
    {"ParamEq", "Scale", {"Scale", ""}, true},
    {"StereoPan", "DryWet", {"Pan", "DryWet"}},
});

std::string PrefixOf(unsigned slot) { return "FX" + std::to_string(slot + 1) + "_"; }

std::optional<std::uint32_t> IdWithin(unsigned slot, const Effect& effect, std::string_view name) {
    if (name.empty()) {
        return std::nullopt;
    }
    return Catalog().Find(PrefixOf(slot) + std::string(effect.module) + "_" + std::string(name)).id;
}

} // namespace

std::uint32_t EffectSlots::TypeId(unsigned slot) {
    static const std::array<std::uint32_t, slotCount> ids = {Catalog().Find("FX1_ModuleType").id,
                                                             Catalog().Find("FX2_ModuleType").id,
                                                             Catalog().Find("FX3_ModuleType").id};
    return ids.at(slot);
}
unsigned EffectSlots::TypeIn(const plugin::PluginInstrument& instrument, unsigned slot) {
    return static_cast<unsigned>(
        std::lround(instrument.Position(TypeId(slot)) * static_cast<float>(effects.size() - 1)));
}
std::uint32_t EffectSlots::BypassId(unsigned slot) { return Catalog().Find(PrefixOf(slot) + "Bypass").id; }

std::optional<std::uint32_t> EffectSlots::MixId(unsigned slot, unsigned type) {
    return type < effects.size() ? IdWithin(slot, effects[type], effects[type].mix) : std::nullopt;
}

std::optional<std::uint32_t> EffectSlots::SignalId(unsigned slot, unsigned type, unsigned signal) {
    return type < effects.size() ? IdWithin(slot, effects[type], effects[type].signals.at(signal))
                                 : std::nullopt;
}

std::string EffectSlots::LabelWithin(std::uint32_t id) {
    std::string label = LabelOf(id);
    if (label.starts_with("FX")) {
        const std::size_t slotEnd = label.find(' ');
        const std::size_t effectEnd = label.find(' ', slotEnd + 1);
        label.erase(0, (effectEnd == std::string::npos ? slotEnd : effectEnd) + 1);
    }
    return label;
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
    if (effects[type].isOfBands) {
        std::ranges::stable_sort(controls, {}, [](std::uint32_t id) {
            const char last = Catalog().Parameters()[id].name.back();
            return std::isdigit(static_cast<unsigned char>(last)) != 0 ? last : '0';
        });
    }
    return controls;
}

} // namespace orphia::panel
