// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/look/PanelLook.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>

namespace orphia::panel {

/// A flat button with a text; the one that is chosen, a tab for instance, has the accent colour below it.
class Button final : public juce::Button {
public:
    Button(const juce::String& title, std::function<void()> act, const juce::String& tooltip = {})
        : juce::Button(title) {
        setButtonText(title);
        setTooltip(tooltip);
        setTitle(tooltip.isEmpty() ? title : tooltip);
        onClick = std::move(act);
    }

    void SetChosen(bool isNow) {
        if (isChosen != isNow) {
            isChosen = isNow;
            repaint();
        }
    }

    void paintButton(juce::Graphics& g, bool isOver, bool isDown) override {
        const Palette& colours = PanelLook::Of(*this);
        juce::Rectangle<float> box = getLocalBounds().toFloat();
        if (isOver || isDown) {
            FillBox(g, box, colours.field);
        }
        const Palette::Colour colour = !isEnabled() ? colours.line
                                       : isChosen   ? colours.text
                                                    : colours.dimText;
        DrawText(g, getButtonText(), box, Sizes::textFont, colour, juce::Justification::centred, isChosen);
        if (isChosen) {
            FillBox(g, box.removeFromBottom(2.0F).reduced(8.0F, 0.0F), colours.accent, 1.0F);
        }
        DrawFocus(g, *this, getLocalBounds().toFloat());
    }

private:
    bool isChosen = false;
};

} // namespace orphia::panel
