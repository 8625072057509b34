// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Live.h"
#include "plugin/panel/model/PanelModel.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace orphia::panel {

/// The notice of the panel in front of a page, as long as there is one; screen readers announce it.
class Notice final : public juce::Component, public Live {
public:
    explicit Notice(PanelModel& panel);

    void Refresh() override;
    void paint(juce::Graphics& g) override;

private:
    PanelModel& panel;
    juce::String text;
};

} // namespace orphia::panel
