// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orphia::panel {

/// The three effect slots, from 0. A type is a step of "FX1_ModuleType"; 0 is none.
struct EffectSlots {
    static constexpr unsigned slotCount = 3;

    static std::uint32_t TypeId(unsigned slot);
    static unsigned TypeIn(const plugin::PluginInstrument& instrument, unsigned slot);
    static std::uint32_t BypassId(unsigned slot);
    /// How much of the effect is heard; nothing for type 0.
    static std::optional<std::uint32_t> MixId(unsigned slot, unsigned type);
    /// What the first (0) and the second (1) signal of the matrix move; nothing where that is nothing.
    static std::optional<std::uint32_t> SignalId(unsigned slot, unsigned type, unsigned signal);
    /// "FX1 Chorus Mix" is "Mix" within its slot.
    static std::string LabelWithin(std::uint32_t id);
    /// All controls of the effect, in order of id; those of an equaliser band by band.
    static std::vector<std::uint32_t> Controls(unsigned slot, unsigned type);
};

} // namespace orphia::panel
