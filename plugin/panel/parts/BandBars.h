// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/ParameterControl.h"

#include <memory>

namespace orphia::panel {

/// Where one of the sixteen bands stands in an area.
inline juce::Rectangle<float> ColumnOf(juce::Rectangle<float> area, unsigned band) {
    const float width = area.getWidth() / static_cast<float>(PatchBay::bandCount);
    return area.withX(area.getX() + width * static_cast<float>(band)).withWidth(width);
}

/// The control of an analysis band's gain: its level as a bar, its gain as a mark on the bar.
std::unique_ptr<ParameterControl> MakeBandColumn(PanelModel& panel, unsigned band);

} // namespace orphia::panel
