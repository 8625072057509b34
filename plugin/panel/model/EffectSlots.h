// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace orphia::panel {

/// The three effect slots, from 0. A type is a step of "FX1_ModuleType"; 0 is none.
struct EffectSlots {
    static constexpr unsigned slotCount = 3;

    static std::uint32_t TypeId(unsigned slot);
    static std::uint32_t BypassId(unsigned slot);
    /// How much of the effect is heard; nothing for type 0.
    static std::optional<std::uint32_t> MixId(unsigned slot, unsigned type);
    /// All controls of the effect, in order of id.
    static std::vector<std::uint32_t> Controls(unsigned slot, unsigned type);
};

} // namespace orphia::panel
