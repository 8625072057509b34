// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/pages/Page.h"
#include "plugin/panel/parts/SectionView.h"

#include <array>
#include <memory>
#include <vector>

namespace orphia::panel {

/// One slot: its type, and all controls of the effect that is in it.
class EffectSlotView final : public SectionView {
public:
    EffectSlotView(PanelModel& panel, unsigned slot);

    void Refresh() override;
    void resized() override;

private:
    void MakeControls();

    PanelModel& panel;
    unsigned slot;
    std::unique_ptr<ParameterControl> type;
    std::unique_ptr<ParameterControl> bypass;
    unsigned shownType = 0;
    juce::Viewport view;
    juce::Component lines;
    std::vector<std::unique_ptr<ParameterControl>> controls;
};

/// The three slots side by side.
class EffectsPage final : public Page {
public:
    explicit EffectsPage(PanelModel& panel);

    void resized() override;

private:
    std::unique_ptr<ParameterControl> isOn;
    std::unique_ptr<ParameterControl> routing;
    std::vector<std::unique_ptr<EffectSlotView>> slots;
};

} // namespace orphia::panel
