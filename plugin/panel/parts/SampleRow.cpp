// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/SampleRow.h"

#include <algorithm>
#include <utility>

namespace orphia::panel {

namespace {

constexpr float numberWidth = 26.0F;
constexpr float pictureWidth = 84.0F;

} // namespace

SampleRow::SampleRow(std::uint32_t sample, std::function<void()> choose)
    : juce::Button("Sample " + juce::String(sample + 1)), number(sample + 1) {
    onClick = std::move(choose);
    Show({});
    setTitle(getName() + ", empty");
}

void SampleRow::Show(Shown next) {
    if (next == shown) {
        return;
    }
    shown = std::move(next);
    setTitle(getName() + ", " + (shown.name.isEmpty() ? juce::String("empty") : shown.name) +
             (shown.isMissing ? ", missing" : "") + (shown.isLoading ? ", loading" : "") +
             (shown.isPlaying ? ", plays" : ""));
    repaint();
}

void SampleRow::DrawPicture(juce::Graphics& g, juce::Rectangle<float> box) const {
    const Palette& colours = PanelLook::Of(*this);
    g.setColour(ToJuce(shown.isPlaying ? colours.accent : colours.dimText));
    juce::RectangleList<float> columns;
    const double width = box.getWidth();
    const int points = juce::roundToInt(box.getWidth());
    for (int point = 0; point < points; ++point) {
        const auto x = static_cast<float>(point);
        const PeakTable::Range range = shown.sound->peaks.Between(x / width, (x + 1.0) / width);
        const float half = 0.46F * box.getHeight();
        const float top = box.getCentreY() - half * std::min(range.high, 1.0F);
        const float bottom = box.getCentreY() - half * std::max(range.low, -1.0F);
        columns.addWithoutMerging({box.getX() + x, top - 0.4F, 1.0F, std::max(0.0F, bottom - top) + 0.8F});
    }
    g.fillRectList(columns);
}

void SampleRow::paintButton(juce::Graphics& g, bool isOver, bool /*isDown*/) {
    const Palette& colours = PanelLook::Of(*this);
    juce::Rectangle<float> box = getLocalBounds().toFloat().reduced(0.0F, 1.0F);
    if (shown.isChosen || isOver) {
        FillBox(g, box, colours.field);
    }
    if (shown.isTarget) {
        g.setColour(ToJuce(colours.accent));
        g.drawRoundedRectangle(box.reduced(0.75F), Sizes::smallCorner, 1.5F);
    }
    if (shown.isChosen) {
        FillBox(g, box.withWidth(3.0F), colours.accent, 1.5F);
    }
    DrawFocus(g, *this, box);
    box = box.withTrimmedLeft(4.0F).withTrimmedRight(6.0F);
    DrawText(g, number, box.removeFromLeft(numberWidth), Sizes::textFont,
             shown.isPlaying ? colours.accent : colours.dimText, juce::Justification::centred,
             shown.isPlaying);
    const bool isEmpty = shown.name.isEmpty();
    if (shown.isMissing || shown.isLoading) {
        DrawText(g, shown.isMissing ? "missing" : "loading", box.removeFromRight(54.0F), Sizes::labelFont,
                 shown.isMissing ? colours.warning : colours.dimText, juce::Justification::centredRight);
    } else if (shown.sound != nullptr) {
        DrawPicture(g, box.removeFromRight(pictureWidth).reduced(0.0F, 5.0F));
    }
    DrawText(g, isEmpty ? "empty" : shown.name, box.withTrimmedRight(6.0F), Sizes::textFont,
             isEmpty ? colours.dimText : colours.text, juce::Justification::centredLeft, shown.isChosen);
}

bool SampleRow::keyPressed(const juce::KeyPress& key) {
    const int code = key.getKeyCode();
    if (code == juce::KeyPress::upKey || code == juce::KeyPress::downKey) {
        onStep(code == juce::KeyPress::upKey ? -1 : 1);
        return true;
    }
    if (code == juce::KeyPress::deleteKey || code == juce::KeyPress::backspaceKey) {
        onClear();
        return true;
    }
    return juce::Button::keyPressed(key);
}

} // namespace orphia::panel
