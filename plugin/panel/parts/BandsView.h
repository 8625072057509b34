// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Button.h"
#include "plugin/panel/controls/ParameterControl.h"
#include "plugin/panel/parts/CablesView.h"

#include <memory>
#include <vector>

namespace orphia::panel {

/// The heart of the panel: what each of the sixteen bands hears, with its gain; the cables; what each band of
/// the synthesis gets. At the top, whether the circuit takes the voice for voiced or unvoiced.
class BandsView final : public juce::Component, public Live {
public:
    explicit BandsView(PanelModel& panel);
    ~BandsView() override;

    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    /// The bars of the synthesis.
    class Synthesis;
    /// The decision and the overloads.
    class Lights;

    std::vector<std::unique_ptr<ParameterControl>> columns;
    CablesView cables;
    std::unique_ptr<Synthesis> synthesis;
    std::unique_ptr<Lights> lights;
    Button straight;
    Button clear;
};

} // namespace orphia::panel
