// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/ParameterControl.h"
#include "plugin/panel/model/layout/Layout.h"

#include <memory>
#include <vector>

namespace orphia::panel {

/// A titled box. With a Section it makes the controls that this lists, where Place puts them; a page adds
/// whatever else belongs in it as a child.
class SectionView : public juce::Component, public Live {
public:
    explicit SectionView(const juce::String& title);
    SectionView(PanelModel& panel, const Section& section);

    void Refresh() override;
    void paint(juce::Graphics& g) override;

    /// The one of a parameter; null when it is not here.
    ParameterControl* ControlOf(std::uint32_t id) const;
    /// What is left below the controls, within the padding.
    juce::Rectangle<int> Rest() const;

private:
    std::vector<std::unique_ptr<ParameterControl>> controls;
    int filledTo = Grid::titleHeight;
};

inline juce::Rectangle<int> ToJuce(const Area& area) { return {area.x, area.y, area.width, area.height}; }

} // namespace orphia::panel
