// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/frame/MacroStrip.h"

namespace orphia::panel {

using plugin::PluginParameters;

namespace {

/// Without a name it has its number; what it moves is its tooltip.
void Name(ParameterControl& control, unsigned number, const plugin::Macro& macro) {
    juce::String moves;
    for (const plugin::MacroTarget& target : macro.targets) {
        moves << (moves.isEmpty() ? "moves " : ", ") << LabelOf(target.id);
    }
    control.SetTexts(macro.name.empty() ? "Macro " + std::to_string(number + 1) : macro.name,
                     moves.isEmpty() ? "moves nothing yet: the menu of any other control assigns it to this"
                                     : moves);
}

} // namespace

MacroStrip::MacroStrip(PanelModel& ofPanel) : panel(ofPanel) {
    setTitle("Macros");
    setFocusContainerType(FocusContainerType::focusContainer);
    for (unsigned n = 0; n < PluginParameters::macroCount; ++n) {
        macros.push_back(ParameterControl::Make(panel, Describe(PluginParameters::firstMacro + n)));
        Name(*macros.back(), n, panel.instrument.MacroOf(n));
        addAndMakeVisible(*macros.back());
    }
}

void MacroStrip::Refresh() {
    nextNamed = (nextNamed + 1) % PluginParameters::macroCount;
    Name(*macros[nextNamed], nextNamed, panel.instrument.MacroOf(nextNamed));
    for (const auto& macro : macros) {
        macro->Refresh();
    }
}

void MacroStrip::paint(juce::Graphics& g) {
    FillBox(g, getLocalBounds().toFloat(), PanelLook::Of(*this).section, Sizes::corner);
}

void MacroStrip::resized() {
    const juce::Rectangle<int> area = getLocalBounds().reduced(4, 1);
    for (int n = 0; n < static_cast<int>(macros.size()); ++n) {
        const int left = area.getWidth() * n / static_cast<int>(macros.size());
        const int right = area.getWidth() * (n + 1) / static_cast<int>(macros.size());
        macros[static_cast<std::size_t>(n)]->setBounds(area.getX() + left, area.getY(), right - left,
                                                       area.getHeight());
    }
}

} // namespace orphia::panel
