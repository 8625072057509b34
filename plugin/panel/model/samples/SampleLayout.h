// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/model/layout/Layout.h"

#include <cstdint>

namespace orphia::panel::SampleLayout {

/// The list of the twelve, the picture of the one that is chosen, and below it its controls and what all have
/// in common.
inline constexpr Area list{0, 0, 264, Grid::page.height};
inline constexpr Area picture{272, 0, 884, 232};
inline constexpr Area own{272, 240, 884, 172};
inline constexpr Area common{272, 420, 884, 102};
/// Of the columns of what a sample has of its own, the first that is left for its root note.
inline constexpr int columns = 12;
inline constexpr int firstFreeColumn = 8;

/// Of a sample, from 0.
const Section& Own(std::uint32_t sample);
const Section& Common();

} // namespace orphia::panel::SampleLayout
