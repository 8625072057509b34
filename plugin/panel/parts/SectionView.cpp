// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/SectionView.h"

namespace orphia::panel {

SectionView::SectionView(const juce::String& title) {
    setName(title);
    setTitle(title);
    setFocusContainerType(FocusContainerType::focusContainer);
}

SectionView::SectionView(PanelModel& panel, const Section& section)
    : SectionView(juce::String(section.title.data(), section.title.size())) {
    setBounds(ToJuce(section.area));
    for (PlacedControl& placed : Place(section)) {
        if (placed.isInTitle) {
            placed.model.label.clear();
        }
        controls.push_back(ParameterControl::Make(panel, placed.model));
        controls.back()->setBounds(ToJuce(placed.area));
        addAndMakeVisible(*controls.back());
    }
    filledTo = HeightOf(section) - Grid::padding;
}

void SectionView::Refresh() { RefreshChildren(*this); }

void SectionView::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    FillBox(g, getLocalBounds().toFloat(), colours.section, Sizes::corner);
    DrawText(g, getName().toUpperCase(),
             getLocalBounds().removeFromTop(Grid::titleHeight).reduced(Grid::padding + 2, 0).toFloat(),
             Sizes::titleFont, colours.dimText, juce::Justification::centredLeft, true);
}

ParameterControl* SectionView::ControlOf(std::uint32_t id) const {
    for (const auto& control : controls) {
        if (control->Model().id == id) {
            return control.get();
        }
    }
    return nullptr;
}

juce::Rectangle<int> SectionView::Rest() const {
    return getLocalBounds()
        .withTrimmedTop(filledTo)
        .reduced(Grid::padding, 0)
        .withTrimmedBottom(Grid::padding);
}

} // namespace orphia::panel
