// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/EffectsView.h"

#include "plugin/panel/model/EffectSlots.h"

namespace orphia::panel {

namespace {

constexpr Section frame{"Effects", MainLayout::effects, {}, "FX_Enable"};
constexpr int typeWidth = 124;

} // namespace

EffectsView::EffectsView(PanelModel& ofPanel) : SectionView(ofPanel, frame), panel(ofPanel) {
    for (unsigned n = 0; n < slots.size(); ++n) {
        slots[n].type =
            ParameterControl::Make(panel, Describe(EffectSlots::TypeId(n), std::to_string(n + 1)));
        slots[n].bypass = ParameterControl::Make(panel, Describe(EffectSlots::BypassId(n), "Bypass"));
        addAndMakeVisible(*slots[n].type);
        addAndMakeVisible(*slots[n].bypass);
        MakeMix(n);
    }
    resized();
}

void EffectsView::MakeMix(unsigned n) {
    Slot& slot = slots[n];
    slot.shownType = slot.type->Model().StepAt(slot.type->Position());
    slot.mix.reset();
    if (const auto id = EffectSlots::MixId(n, slot.shownType)) {
        slot.mix = ParameterControl::Make(panel, Describe(*id, "Mix", ControlKind::Slider));
        addAndMakeVisible(*slot.mix);
    }
}

void EffectsView::Refresh() {
    SectionView::Refresh();
    for (unsigned n = 0; n < slots.size(); ++n) {
        if (slots[n].type->Model().StepAt(slots[n].type->Position()) != slots[n].shownType) {
            MakeMix(n);
            resized();
        }
    }
}

void EffectsView::resized() {
    juce::Rectangle<int> area = Rest();
    const int height = area.getHeight() / static_cast<int>(slots.size());
    for (const Slot& slot : slots) {
        if (slot.type == nullptr) {
            return;
        }
        juce::Rectangle<int> row = area.removeFromTop(height);
        juce::Rectangle<int> line = row.removeFromTop(Grid::lineHeight);
        slot.type->setBounds(line.removeFromLeft(typeWidth));
        slot.bypass->setBounds(line.withTrimmedLeft(8));
        if (slot.mix != nullptr) {
            slot.mix->setBounds(row.withHeight(24));
        }
    }
}

} // namespace orphia::panel
