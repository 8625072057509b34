// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Live.h"
#include "plugin/panel/look/PanelLook.h"
#include "plugin/panel/model/PanelModel.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <cstdint>
#include <optional>

namespace orphia::panel {

/// The twelve samples at a glance: which are there, which one plays. A click plays one, as its key would;
/// files and folders are dropped on them.
class SlotsView final : public juce::Component,
                        public Live,
                        public juce::SettableTooltipClient,
                        public juce::FileDragAndDropTarget {
public:
    explicit SlotsView(PanelModel& panel);
    ~SlotsView() override;

    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void mouseDown(const juce::MouseEvent& event) override;
    void mouseUp(const juce::MouseEvent& event) override;

    bool isInterestedInFileDrag(const juce::StringArray& files) override { return !files.isEmpty(); }
    void fileDragMove(const juce::StringArray& files, int x, int y) override;
    void fileDragExit(const juce::StringArray& files) override;
    void filesDropped(const juce::StringArray& files, int x, int y) override;

private:
    static constexpr int count = 12;
    static constexpr int columns = 6;

    juce::Rectangle<int> CellOf(int slot) const;
    std::optional<std::uint32_t> SlotAt(juce::Point<int> place) const;
    void SetTarget(std::optional<std::uint32_t> slot);
    void Release();

    PanelModel& panel;
    std::uint32_t firstLoaded;
    std::uint32_t octave;
    std::uint32_t isPlaying;
    std::uint32_t current;
    std::array<bool, count> loaded{};
    /// A file is on its way to it.
    std::array<bool, count> loading{};
    int playing = -1;
    int pressedKey = -1;
    /// What is dragged would go there.
    std::optional<std::uint32_t> target;
};

} // namespace orphia::panel
