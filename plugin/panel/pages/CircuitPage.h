// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Button.h"
#include "plugin/panel/controls/TextField.h"
#include "plugin/panel/pages/Page.h"
#include "plugin/panel/parts/SectionView.h"

#include <cstdint>
#include <vector>

namespace orphia::panel {

/// Everything that the engine knows, in a list that can be searched: all controls, and with them the trims of
/// the circuit.
class CircuitPage final : public Page, private juce::ListBoxModel {
public:
    explicit CircuitPage(PanelModel& panel);
    ~CircuitPage() override;

    void Search(const juce::String& text);
    void Refresh() override;
    void resized() override;

private:
    class Line;
    static constexpr int columns = 3;

    int getNumRows() override;
    void paintListBoxItem(int row, juce::Graphics& g, int width, int height, bool isSelected) override;
    juce::Component* refreshComponentForRow(int row, bool isSelected, juce::Component* existing) override;

    PanelModel& panel;
    SectionView frame;
    TextField search{"Search", "Search: attack, delay time, band 3 ..."};
    Button trims;
    juce::Label count;
    juce::ListBox list;
    bool withTrims = false;
    std::vector<std::uint32_t> found;
};

} // namespace orphia::panel
