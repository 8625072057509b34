// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parameters/ParameterCatalog.h"

#include <cstdint>
#include <vector>

namespace orphia::host {

/// Where the knobs of a new instrument are, by id: the built-in preset over the engine's own start, wheels
/// and pedals at rest. The engine's own start alone is silent, and low by a semitone.
class NeutralStart {
public:
    /// Of the instrument.
    static const NeutralStart& Get();

    float Position(std::uint32_t id) const { return positions[id]; }
    /// Whether a preset begins with this position. Constants and what follows other parameters stay, unless
    /// somebody has set them.
    bool IsPartOfPresets(std::uint32_t id) const { return isPart[id]; }

private:
    explicit NeutralStart(const ParameterCatalog& catalog);

    std::vector<float> positions;
    std::vector<bool> isPart;
};

} // namespace orphia::host
