// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/frame/Notice.h"

#include "plugin/panel/look/PanelLook.h"

#include <algorithm>

namespace orphia::panel {

Notice::Notice(PanelModel& ofPanel) : panel(ofPanel) {
    setInterceptsMouseClicks(false, false);
    setVisible(false);
}

void Notice::Refresh() {
    const juce::String next = juce::String::fromUTF8(panel.notice.c_str());
    if (next == text) {
        return;
    }
    text = next;
    setTitle(text);
    setVisible(text.isNotEmpty());
    repaint();
    if (isVisible()) {
        toFront(false);
        juce::AccessibilityHandler::postAnnouncement(
            text, juce::AccessibilityHandler::AnnouncementPriority::medium);
    }
}

void Notice::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    const float width = PanelLook::Font(Sizes::textFont).getStringWidthFloat(text) + 32.0F;
    const juce::Rectangle<float> all = getLocalBounds().toFloat();
    const juce::Rectangle<float> box =
        all.withSizeKeepingCentre(std::min(width, all.getWidth()), all.getHeight());
    FillBox(g, box, colours.field, Sizes::corner);
    g.setColour(ToJuce(colours.accent));
    g.drawRoundedRectangle(box.reduced(0.75F), Sizes::corner, 1.5F);
    DrawText(g, text, box.reduced(16.0F, 0.0F), Sizes::textFont, colours.text);
}

} // namespace orphia::panel
