// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/layout/Layout.h"

#include <algorithm>

namespace orphia::panel {

namespace {

int HeightOf(Row::Height height) {
    switch (height) {
    case Row::Height::Line:
        return Grid::lineHeight;
    case Row::Height::Faders:
        return Grid::faderHeight;
    default:
        return Grid::knobHeight;
    }
}

int ColumnsOf(const Row& row) {
    int columns = 0;
    for (const Cell& cell : row.cells) {
        columns += cell.span;
    }
    return std::max(1, row.columns > 0 ? row.columns : columns);
}

/// Of a switch without a name.
constexpr int titleSwitchWidth = 32;

} // namespace

int HeightOf(const Section& section) {
    int height = Grid::titleHeight + Grid::padding;
    for (const Row& row : section.rows) {
        height += HeightOf(row.height);
    }
    return height;
}

std::vector<PlacedControl> Place(const Section& section) {
    std::vector<PlacedControl> placed;
    if (!section.titleSwitch.empty()) {
        PlacedControl control{Describe(section.titleSwitch, {}, ControlKind::Switch), {}, true};
        control.area = {section.area.width - Grid::padding - titleSwitchWidth, 2, titleSwitchWidth,
                        Grid::titleHeight - 4};
        placed.push_back(control);
    }
    const int width = section.area.width - 2 * Grid::padding;
    int y = Grid::titleHeight;
    for (const Row& row : section.rows) {
        const int columns = ColumnsOf(row);
        const int height = HeightOf(row.height);
        int column = 0;
        for (const Cell& cell : row.cells) {
            const int left = width * column / columns;
            const int right = width * (column + cell.span) / columns;
            placed.push_back({Describe(cell.parameter, cell.label, cell.kind),
                              {Grid::padding + left, y, right - left, height},
                              false});
            column += cell.span;
        }
        y += height;
    }
    return placed;
}

} // namespace orphia::panel
