// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/ParameterControl.h"

#include <memory>
#include <vector>

namespace orphia::panel {

/// A box beside a control: each source with how far it moves that control.
class ModulationBox final : public juce::Component, private juce::Timer {
public:
    ModulationBox(PanelModel& panel, unsigned destination);

    static void Show(PanelModel& panel, juce::Component& beside, unsigned destination);
    /// A quarter of the way, where there was nothing; and the source is switched on.
    static void Connect(PanelModel& panel, unsigned source, unsigned destination);

    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    void timerCallback() override;

    juce::String title;
    std::vector<std::unique_ptr<ParameterControl>> amounts;
};

} // namespace orphia::panel
