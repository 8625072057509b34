// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/ParameterControl.h"

#include <memory>
#include <vector>

namespace orphia::panel {

/// The sixteen macros.
class MacroStrip final : public juce::Component, public Live {
public:
    explicit MacroStrip(PanelModel& panel);

    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    PanelModel& panel;
    std::vector<std::unique_ptr<ParameterControl>> macros;
    /// Names change seldom: one macro is looked at with each picture.
    unsigned nextNamed = 0;
};

} // namespace orphia::panel
