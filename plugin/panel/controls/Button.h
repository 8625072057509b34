// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/look/PanelLook.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <cstdint>
#include <functional>

namespace orphia::panel {

/// A button with a text, in a box; the one that is chosen has the accent colour below it. Those that choose,
/// tabs for instance, are flat.
class Button final : public juce::Button {
public:
    Button(const juce::String& title, std::function<void()> act, const juce::String& tooltip = {})
        : juce::Button(title) {
        setButtonText(title);
        setTooltip(tooltip);
        setTitle(tooltip.isEmpty() ? title : tooltip);
        onClick = std::move(act);
    }

    void SetFlat() { isFlat = true; }

    void SetChosen(bool isNow) {
        if (isChosen != isNow) {
            isChosen = isNow;
            repaint();
        }
    }

    void paintButton(juce::Graphics& g, bool isOver, bool isDown) override {
        const Palette& colours = PanelLook::Of(*this);
        juce::Rectangle<float> box = getLocalBounds().toFloat();
        if (isOver || isDown || !isFlat) {
            FillBox(g, box, (isOver || isDown) && !isFlat ? colours.line : colours.field);
        }
        if (!isFlat) {
            g.setColour(ToJuce(colours.line));
            g.drawRoundedRectangle(box.reduced(0.5F), Sizes::smallCorner, 1.0F);
        }
        const Palette::Colour colour = !isEnabled() ? Palette::WithAlpha(colours.dimText, disabledAlpha)
                                       : isChosen   ? colours.text
                                                    : colours.dimText;
        DrawText(g, getButtonText(), box, Sizes::textFont, colour, juce::Justification::centred, isChosen);
        if (isChosen) {
            FillBox(g, box.removeFromBottom(2.0F).reduced(8.0F, 0.0F), colours.accent, 1.0F);
        }
        DrawFocus(g, *this, getLocalBounds().toFloat());
    }

private:
    static constexpr std::uint32_t disabledAlpha = 0x80;

    bool isChosen = false;
    bool isFlat = false;
};

} // namespace orphia::panel
