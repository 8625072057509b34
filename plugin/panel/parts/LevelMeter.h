// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Live.h"
#include "plugin/panel/look/PanelLook.h"
#include "plugin/panel/model/Meters.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace orphia::panel {

/// A bar with a held peak; its end lights when it has clipped, until it is clicked, or the space bar
/// pressed.
class LevelMeter final : public juce::Component, public Live, public juce::SettableTooltipClient {
public:
    LevelMeter(Meter& meter, const juce::String& title);

    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void mouseDown(const juce::MouseEvent& event) override;
    bool keyPressed(const juce::KeyPress& key) override;
    void focusGained(FocusChangeType cause) override;
    void focusLost(FocusChangeType cause) override;

private:
    void Unclip();

    Meter& meter;
    float level = 0.0F;
    float peak = 0.0F;
    bool clipped = false;
};

} // namespace orphia::panel
