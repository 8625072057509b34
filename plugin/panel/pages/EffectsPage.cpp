// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/EffectsPage.h"

#include "plugin/panel/model/EffectSlots.h"
#include "plugin/panel/model/effects/EffectOrder.h"

#include <utility>

namespace orphia::panel {

namespace {

constexpr int slotLine = 26;
constexpr int topHeight = slotLine + Grid::gap;
constexpr int scrollWidth = 10;
constexpr int pictureHeight = 112;
constexpr int arrowWidth = 24;

} // namespace

EffectSlotView::EffectSlotView(PanelModel& ofPanel, unsigned ofSlot, Order ofPage)
    : SectionView("Effect " + juce::String(ofSlot + 1)), panel(ofPanel), slot(ofSlot),
      order(std::move(ofPage)),
      earlier(
          "<", [this] { MoveBy(-1); }, "Moves effect " + juce::String(ofSlot + 1) + " one slot earlier"),
      later(
          ">", [this] { MoveBy(1); }, "Moves effect " + juce::String(ofSlot + 1) + " one slot later"),
      type(ParameterControl::Make(panel, Describe(EffectSlots::TypeId(slot), "Type"))),
      bypass(ParameterControl::Make(panel, Describe(EffectSlots::BypassId(slot), "Bypass"))),
      picture(panel, slot) {
    addAndMakeVisible(*type);
    addAndMakeVisible(*bypass);
    addChildComponent(picture);
    addAndMakeVisible(earlier);
    addAndMakeVisible(later);
    earlier.setEnabled(slot > 0);
    later.setEnabled(slot + 1 < EffectSlots::slotCount);
    view.setViewedComponent(&lines, false);
    view.setScrollBarsShown(true, false);
    view.setScrollBarThickness(scrollWidth);
    view.setWantsKeyboardFocus(false);
    addAndMakeVisible(view);
    MakeControls();
}

void EffectSlotView::MakeControls() {
    shownType = type->Model().StepAt(type->Position());
    picture.Refresh();
    picture.setVisible(picture.HasPicture());
    controls.clear();
    for (const std::uint32_t id : EffectSlots::Controls(slot, shownType)) {
        ControlModel model = Describe(id, EffectSlots::LabelWithin(id));
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
    juce::Rectangle<int> title = getLocalBounds().removeFromTop(Grid::titleHeight).reduced(Grid::padding, 2);
    later.setBounds(title.removeFromRight(arrowWidth));
    title.removeFromRight(Grid::gap / 2);
    earlier.setBounds(title.removeFromRight(arrowWidth));
    if (picture.isVisible()) {
        picture.setBounds(area.removeFromTop(pictureHeight));
        area.removeFromTop(Grid::gap / 2);
    }
    view.setBounds(area);
    const int width = area.getWidth() - scrollWidth - 2;
    lines.setSize(width, slotLine * static_cast<int>(controls.size()));
    for (int n = 0; n < static_cast<int>(controls.size()); ++n) {
        controls[static_cast<std::size_t>(n)]->setBounds(0, n * slotLine, width, slotLine);
    }
}

void EffectSlotView::SetTarget(bool isNow) {
    if (isTarget != isNow) {
        isTarget = isNow;
        repaint();
    }
}

void EffectSlotView::paintOverChildren(juce::Graphics& g) {
    if (isTarget) {
        g.setColour(ToJuce(PanelLook::Of(*this).accent));
        g.drawRoundedRectangle(getLocalBounds().toFloat().reduced(1.0F), Sizes::corner, 2.0F);
    }
}

void EffectSlotView::MoveBy(int step) { order.move(slot, slot + static_cast<unsigned>(step)); }

void EffectSlotView::mouseDown(const juce::MouseEvent& event) {
    isDragged = event.y < Grid::titleHeight && !event.mods.isPopupMenu();
}

void EffectSlotView::mouseDrag(const juce::MouseEvent& event) {
    if (isDragged && event.mouseWasDraggedSinceMouseDown()) {
        setMouseCursor(juce::MouseCursor::DraggingHandCursor);
        order.showTarget(order.slotAt(event));
    }
}

void EffectSlotView::mouseUp(const juce::MouseEvent& event) {
    const std::optional<unsigned> target = order.slotAt(event);
    order.showTarget(std::nullopt);
    setMouseCursor(juce::MouseCursor::NormalCursor);
    if (std::exchange(isDragged, false) && target) {
        order.move(slot, *target);
    }
}

bool EffectSlotView::keyPressed(const juce::KeyPress& key) {
    const bool isLeft = key.getKeyCode() == juce::KeyPress::leftKey;
    if (!key.getModifiers().isAltDown() || !(isLeft || key.getKeyCode() == juce::KeyPress::rightKey)) {
        return false;
    }
    MoveBy(isLeft ? -1 : 1);
    return true;
}

EffectsPage::EffectsPage(PanelModel& ofPanel)
    : panel(ofPanel),
      isOn(ParameterControl::Make(panel, Describe("FX_Enable", "Effects on", ControlKind::Switch))),
      routing(ParameterControl::Make(panel, Describe("FX_Routing", "Slots"))) {
    addAndMakeVisible(*isOn);
    addAndMakeVisible(*routing);
    for (unsigned slot = 0; slot < EffectSlots::slotCount; ++slot) {
        slots.push_back(std::make_unique<EffectSlotView>(
            panel, slot,
            EffectSlotView::Order{[this](unsigned from, unsigned to) { Move(from, to); },
                                  [this](const juce::MouseEvent& event) { return SlotAt(event); },
                                  [this](std::optional<unsigned> target) {
                                      for (unsigned n = 0; n < slots.size(); ++n) {
                                          slots[n]->SetTarget(target == n);
                                      }
                                  }}));
        addAndMakeVisible(*slots.back());
    }
}

std::optional<unsigned> EffectsPage::SlotAt(const juce::MouseEvent& event) const {
    const juce::Point<int> place = getLocalPoint(event.eventComponent, event.getPosition());
    for (unsigned n = 0; n < slots.size(); ++n) {
        if (slots[n]->getBounds().contains(place)) {
            return n;
        }
    }
    return std::nullopt;
}

/// The focus follows the effect.
void EffectsPage::Move(unsigned from, unsigned to) {
    if (from == to || to >= slots.size()) {
        return;
    }
    const bool hadFocus = slots[from]->hasKeyboardFocus(true);
    MoveEffect(panel.instrument, panel.history, from, to);
    Refresh();
    if (hadFocus) {
        slots[to]->FocusFirst();
    }
}

void EffectsPage::paint(juce::Graphics& g) {
    FillBox(g, getLocalBounds().withHeight(slotLine).toFloat(), PanelLook::Of(*this).section, Sizes::corner);
}

void EffectsPage::resized() {
    juce::Rectangle<int> area = getLocalBounds();
    juce::Rectangle<int> top = area.removeFromTop(topHeight).withHeight(slotLine).reduced(Grid::padding, 0);
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
