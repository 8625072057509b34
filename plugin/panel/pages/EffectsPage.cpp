// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/EffectsPage.h"

#include "plugin/panel/model/EffectSlots.h"

#include <string>

namespace orphia::panel {

namespace {

constexpr int slotLine = 26;
constexpr int topHeight = 32;
constexpr int scrollWidth = 10;

/// "FX1 Chorus Mix" is "Mix" here.
std::string LabelWithin(std::uint32_t id) {
    std::string label = LabelOf(id);
    if (label.starts_with("FX")) {
        const std::size_t slotEnd = label.find(' ');
        const std::size_t effectEnd = label.find(' ', slotEnd + 1);
        label.erase(0, (effectEnd == std::string::npos ? slotEnd : effectEnd) + 1);
    }
    return label;
}

} // namespace

EffectSlotView::EffectSlotView(PanelModel& ofPanel, unsigned ofSlot)
    : SectionView("Effect " + juce::String(ofSlot + 1)), panel(ofPanel), slot(ofSlot),
      type(ParameterControl::Make(panel, Describe(EffectSlots::TypeId(slot), "Type"))),
      bypass(ParameterControl::Make(panel, Describe(EffectSlots::BypassId(slot), "Bypass"))) {
    addAndMakeVisible(*type);
    addAndMakeVisible(*bypass);
    view.setViewedComponent(&lines, false);
    view.setScrollBarsShown(true, false);
    view.setScrollBarThickness(scrollWidth);
    view.setWantsKeyboardFocus(false);
    addAndMakeVisible(view);
    MakeControls();
}

void EffectSlotView::MakeControls() {
    shownType = type->Model().StepAt(type->Position());
    controls.clear();
    for (const std::uint32_t id : EffectSlots::Controls(slot, shownType)) {
        ControlModel model = Describe(id, LabelWithin(id));
        if (model.kind == ControlKind::Knob || model.kind == ControlKind::Stepper) {
            model.kind = ControlKind::Slider;
        }
        controls.push_back(ParameterControl::Make(panel, std::move(model)));
        lines.addAndMakeVisible(*controls.back());
    }
    resized();
}

void EffectSlotView::Refresh() {
    SectionView::Refresh();
    if (type->Model().StepAt(type->Position()) != shownType) {
        MakeControls();
    }
    for (const auto& control : controls) {
        control->Refresh();
    }
}

void EffectSlotView::resized() {
    juce::Rectangle<int> area = getLocalBounds().reduced(Grid::padding, 0).withTrimmedTop(Grid::titleHeight);
    area.removeFromBottom(Grid::padding);
    juce::Rectangle<int> top = area.removeFromTop(topHeight).withHeight(slotLine);
    type->setBounds(top.removeFromLeft(200));
    bypass->setBounds(top.withTrimmedLeft(16));
    view.setBounds(area);
    const int width = area.getWidth() - scrollWidth - 2;
    lines.setSize(width, slotLine * static_cast<int>(controls.size()));
    for (int n = 0; n < static_cast<int>(controls.size()); ++n) {
        controls[static_cast<std::size_t>(n)]->setBounds(0, n * slotLine, width, slotLine);
    }
}

EffectsPage::EffectsPage(PanelModel& panel)
    : isOn(ParameterControl::Make(panel, Describe("FX_Enable", "Effects on", ControlKind::Switch))),
      routing(ParameterControl::Make(panel, Describe("FX_Routing", "Slots"))) {
    addAndMakeVisible(*isOn);
    addAndMakeVisible(*routing);
    for (unsigned slot = 0; slot < EffectSlots::slotCount; ++slot) {
        slots.push_back(std::make_unique<EffectSlotView>(panel, slot));
        addAndMakeVisible(*slots.back());
    }
}

void EffectsPage::resized() {
    juce::Rectangle<int> area = getLocalBounds();
    juce::Rectangle<int> top = area.removeFromTop(topHeight).withHeight(slotLine);
    isOn->setBounds(top.removeFromLeft(120));
    routing->setBounds(top.removeFromLeft(170));
    for (int n = 0; n < static_cast<int>(slots.size()); ++n) {
        const int left = (area.getWidth() + Grid::gap) * n / static_cast<int>(slots.size());
        const int right =
            (area.getWidth() + Grid::gap) * (n + 1) / static_cast<int>(slots.size()) - Grid::gap;
        slots[static_cast<std::size_t>(n)]->setBounds(left, area.getY(), right - left, area.getHeight());
    }
}

} // namespace orphia::panel
