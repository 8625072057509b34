// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Button.h"
#include "plugin/panel/pages/Page.h"
#include "plugin/panel/parts/EffectPictureView.h"
#include "plugin/panel/parts/SectionView.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace orphia::panel {

/// One slot: its type, a picture where there is one, and all controls of the effect that is in it. Its title
/// is dragged to another slot, the arrows in it and alt with left or right move it by one.
class EffectSlotView final : public SectionView {
public:
    /// What a slot asks of the page.
    struct Order {
        std::function<void(unsigned from, unsigned to)> move;
        /// While the title is dragged: the slot under the mouse, nothing at the end.
        std::function<std::optional<unsigned>(const juce::MouseEvent&)> slotAt;
        std::function<void(std::optional<unsigned>)> showTarget;
    };

    EffectSlotView(PanelModel& panel, unsigned slot, Order order);

    void SetTarget(bool isNow);
    void FocusFirst() { type->grabKeyboardFocus(); }

    void Refresh() override;
    void resized() override;
    void paintOverChildren(juce::Graphics& g) override;
    void mouseDown(const juce::MouseEvent& event) override;
    void mouseDrag(const juce::MouseEvent& event) override;
    void mouseUp(const juce::MouseEvent& event) override;
    bool keyPressed(const juce::KeyPress& key) override;

private:
    void MakeControls();
    void MoveBy(int step);

    PanelModel& panel;
    unsigned slot;
    Order order;
    Button earlier;
    Button later;
    std::unique_ptr<ParameterControl> type;
    std::unique_ptr<ParameterControl> bypass;
    EffectPictureView picture;
    unsigned shownType = 0;
    bool isDragged = false;
    bool isTarget = false;
    juce::Viewport view;
    juce::Component lines;
    std::vector<std::unique_ptr<ParameterControl>> controls;
};

/// The three slots side by side, in the order of the sound.
class EffectsPage final : public Page {
public:
    explicit EffectsPage(PanelModel& panel);

    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    std::optional<unsigned> SlotAt(const juce::MouseEvent& event) const;
    void Move(unsigned from, unsigned to);

    PanelModel& panel;
    std::unique_ptr<ParameterControl> isOn;
    std::unique_ptr<ParameterControl> routing;
    std::vector<std::unique_ptr<EffectSlotView>> slots;
};

} // namespace orphia::panel
