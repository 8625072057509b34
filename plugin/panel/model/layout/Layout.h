// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/model/ControlModel.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace orphia::panel {

/// In points of the panel at 100 %.
struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool Contains(const Area& other) const {
        return other.x >= x && other.y >= y && other.x + other.width <= x + width &&
               other.y + other.height <= y + height;
    }
    bool Overlaps(const Area& other) const {
        return x < other.x + other.width && other.x < x + width && y < other.y + other.height &&
               other.y < y + height;
    }
};

/// The grid that everything stands on.
struct Grid {
    static constexpr int panelWidth = 1180;
    static constexpr int panelHeight = 760;
    static constexpr int margin = 12;
    static constexpr int gap = 8;
    static constexpr int headerHeight = 44;
    static constexpr int macrosHeight = 66;
    static constexpr int keysHeight = 92;
    /// Where pages are: between the header and the macros.
    static constexpr Area page{margin, headerHeight + gap, panelWidth - 2 * margin,
                               panelHeight - headerHeight - macrosHeight - keysHeight - margin - 3 * gap};
    /// Of a section.
    static constexpr int titleHeight = 24;
    static constexpr int padding = 8;
    static constexpr int knobHeight = 70;
    static constexpr int lineHeight = 28;
    static constexpr int buttonHeight = 22;
    static constexpr int faderHeight = 92;
};

/// A control in a row; several widths of a column where `span` tells so.
struct Cell {
    std::string_view parameter;
    /// Empty for the parameter's own.
    std::string_view label;
    ControlKind kind = ControlKind::Automatic;
    int span = 1;
};

/// Controls side by side.
struct Row {
    enum class Height { Knobs, Line, Faders };
    Height height = Height::Knobs;
    std::span<const Cell> cells;
    /// How many columns share the width; as many as the cells take, when 0.
    int columns = 0;
};

/// A titled group of rows. Areas are within the page.
struct Section {
    std::string_view title;
    Area area;
    std::span<const Row> rows;
    /// The parameter of a switch in the title; empty for none.
    std::string_view titleSwitch = {};
};

struct PlacedControl {
    ControlModel model;
    /// Within the section.
    Area area;
    bool isInTitle = false;
};

/// All controls of a section, in the order in which the keyboard walks through them.
std::vector<PlacedControl> Place(const Section& section);
/// What the rows take, with title and padding.
int HeightOf(const Section& section);

/// The sections of the first page, in the order of the signal. `Bands` and `Slots` are where the picture of
/// the bands and the sampler's overview stand; effects and levels draw themselves.
namespace MainLayout {
const Section& VoiceIn();
const Section& Sampler();
const Section& Vocoder();
const Section& Carrier();
const Section& Master();
inline constexpr Area bands{180, 0, 600, 380};
inline constexpr Area effects{788, 320, 232, 200};
std::vector<const Section*> Sections();
} // namespace MainLayout

/// Beside the matrix of modulation.
namespace ModulationLayout {
inline constexpr Area matrix{0, 0, 816, 520};
const Section& Lfo();
const Section& Follower();
const Section& Controllers();
} // namespace ModulationLayout

} // namespace orphia::panel
