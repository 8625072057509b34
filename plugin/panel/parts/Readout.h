// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Live.h"
#include "plugin/panel/look/PanelLook.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <utility>

namespace orphia::panel {

/// A line of text that follows something, with a lamp before it where it has one.
class Readout final : public juce::Component, public Live {
public:
    struct Reading {
        juce::String text;
        bool isLit = false;

        bool operator==(const Reading&) const = default;
    };

    Readout(const juce::String& title, bool withLamp, std::function<Reading()> ask)
        : hasLamp(withLamp), source(std::move(ask)), shown(source()) {
        setTitle(title);
        setInterceptsMouseClicks(false, false);
    }

    void Refresh() override {
        if (Reading next = source(); !(next == shown)) {
            shown = std::move(next);
            setDescription(shown.text);
            repaint();
        }
    }

    void paint(juce::Graphics& g) override {
        const Palette& colours = PanelLook::Of(*this);
        juce::Rectangle<float> area = getLocalBounds().toFloat();
        if (hasLamp) {
            g.setColour(ToJuce(shown.isLit ? colours.accent : colours.line));
            g.fillEllipse(area.removeFromLeft(13.0F).withSizeKeepingCentre(9.0F, 9.0F));
            area.removeFromLeft(3.0F);
        }
        DrawText(g, shown.text, area, Sizes::labelFont, shown.isLit ? colours.text : colours.dimText,
                 juce::Justification::centredLeft);
    }

private:
    bool hasLamp;
    std::function<Reading()> source;
    Reading shown;
};

} // namespace orphia::panel
