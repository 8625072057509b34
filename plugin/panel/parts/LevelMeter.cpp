// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/LevelMeter.h"

#include <cmath>

namespace orphia::panel {

namespace {

constexpr float clipLength = 5.0F;
/// Where -12 dB is on the scale: above it the bar has the accent colour.
constexpr float hotLevel = 0.8F;

} // namespace

LevelMeter::LevelMeter(Meter& ofMeter, const juce::String& title) : meter(ofMeter) {
    setTitle(title);
    setWantsKeyboardFocus(true);
    setMouseClickGrabsKeyboardFocus(false);
    setTooltip(title + ", -60 to 0 dB. A click takes the clip light back.");
}

void LevelMeter::Refresh() {
    const auto length = static_cast<float>(std::max(getWidth(), getHeight()));
    const float nextLevel = std::round(meter.Level() * length);
    const float nextPeak = std::round(meter.Peak() * length);
    if (nextLevel != level || nextPeak != peak || clipped != meter.HasClipped()) {
        level = nextLevel;
        peak = nextPeak;
        clipped = meter.HasClipped();
        repaint();
    }
}

void LevelMeter::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    const bool isUpright = getHeight() > getWidth();
    juce::Rectangle<float> area = getLocalBounds().toFloat();
    juce::Rectangle<float> clip =
        isUpright ? area.removeFromTop(clipLength) : area.removeFromRight(clipLength);
    FillBox(g, clip, clipped ? colours.warning : colours.field, 2.0F);
    isUpright ? area.removeFromTop(2.0F) : area.removeFromRight(2.0F);
    FillBox(g, area, colours.field, 2.0F);
    const float length = isUpright ? area.getHeight() : area.getWidth();
    const auto piece = [&](float from, float to) {
        return isUpright ? area.withTop(area.getBottom() - to).withBottom(area.getBottom() - from)
                         : area.withRight(area.getX() + to).withLeft(area.getX() + from);
    };
    const float shown = std::min(level, length);
    const float hot = hotLevel * length;
    FillBox(g, piece(0.0F, std::min(shown, hot)), colours.dimText, 2.0F);
    if (shown > hot) {
        FillBox(g, piece(hot, shown), colours.accent, 2.0F);
    }
    if (peak > 1.0F) {
        const float at = std::min(peak, length);
        FillBox(g, piece(std::max(0.0F, at - 1.5F), at), colours.text, 0.0F);
    }
    DrawFocus(g, *this, getLocalBounds().toFloat());
}

void LevelMeter::Unclip() {
    meter.Unclip();
    Refresh();
}

void LevelMeter::mouseDown(const juce::MouseEvent& /*event*/) { Unclip(); }

bool LevelMeter::keyPressed(const juce::KeyPress& key) {
    if (key.getKeyCode() != juce::KeyPress::spaceKey && key.getKeyCode() != juce::KeyPress::returnKey) {
        return false;
    }
    Unclip();
    return true;
}

void LevelMeter::focusGained(FocusChangeType /*cause*/) { repaint(); }
void LevelMeter::focusLost(FocusChangeType /*cause*/) { repaint(); }

} // namespace orphia::panel
