// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Live.h"
#include "plugin/panel/look/PanelLook.h"
#include "plugin/panel/model/PanelModel.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <optional>
#include <vector>

namespace orphia::panel {

/// The patch bay: sockets of the analysis above, of the synthesis below, cables between them, as bright as
/// what they carry. Drawn from socket to socket with the mouse; a cable that is dragged up or down carries
/// more or less, a double click takes it out. By keys: left and right choose the analysis band, with shift
/// the synthesis band, up and down the amount, delete takes out.
class CablesView final : public juce::Component, public Live, public juce::SettableTooltipClient {
public:
    explicit CablesView(PanelModel& panel);

    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void mouseMove(const juce::MouseEvent& event) override;
    void mouseExit(const juce::MouseEvent& event) override;
    void mouseDown(const juce::MouseEvent& event) override;
    void mouseDrag(const juce::MouseEvent& event) override;
    void mouseUp(const juce::MouseEvent& event) override;
    void mouseDoubleClick(const juce::MouseEvent& event) override;
    void mouseWheelMove(const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) override;
    bool keyPressed(const juce::KeyPress& key) override;
    void focusGained(FocusChangeType cause) override;
    void focusLost(FocusChangeType cause) override;

    /// Where a socket is, for whoever works it.
    juce::Point<float> Socket(bool isSynthesis, unsigned band) const;

private:
    using Cable = PatchBay::Cable;
    struct End {
        bool isSynthesis = false;
        unsigned band = 0;
    };

    std::optional<End> EndAt(juce::Point<float> place) const;
    std::optional<Cable> CableAt(juce::Point<float> place) const;
    void DrawCable(juce::Graphics& g, const Cable& cable, bool isInForce) const;
    void DrawSockets(juce::Graphics& g) const;
    void ShowMenu(const Cable& cable);
    void SetAmount(const Cable& cable, float amount);
    Cable CableAtCursor() const;
    void TellCursor();

    PanelModel& panel;
    std::vector<Cable> cables;
    bool isActive = false;
    /// No voice and no key: a hint for who is new.
    bool isQuiet = true;
    /// Of the cables, in sixteen steps.
    std::array<int, PatchBay::bandCount> brightness{};
    std::optional<Cable> touched;
    std::optional<End> drawnFrom;
    std::optional<Cable> held;
    juce::Point<float> mouse;
    unsigned cursorFrom = 0;
    unsigned cursorTo = 0;
};

} // namespace orphia::panel
