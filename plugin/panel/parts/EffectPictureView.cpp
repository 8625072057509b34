// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/EffectPictureView.h"

#include "plugin/panel/look/PanelLook.h"
#include "plugin/panel/model/EffectSlots.h"

namespace orphia::panel {

namespace {

constexpr float barWidth = 3.0F;
constexpr float textHeight = 14.0F;
constexpr float textWidth = 48.0F;
constexpr float fillAlpha = 0.18F;

juce::Point<float> PlaceIn(juce::Rectangle<float> field, double x, double y) {
    return {field.getX() + static_cast<float>(x) * field.getWidth(),
            field.getBottom() - static_cast<float>(y) * field.getHeight()};
}

} // namespace

EffectPictureView::EffectPictureView(PanelModel& ofPanel, unsigned ofSlot) : panel(ofPanel), slot(ofSlot) {
    setTitle("Picture of effect " + juce::String(slot + 1));
    setInterceptsMouseClicks(false, false);
    Refresh();
}

void EffectPictureView::Refresh() {
    const unsigned type = EffectSlots::TypeIn(panel.instrument, slot);
    const bool isOther = type != shownType;
    if (isOther) {
        shownType = type;
        ids = EffectSlots::Controls(slot, type);
    }
    std::vector<float> now;
    now.reserve(ids.size());
    for (const std::uint32_t id : ids) {
        now.push_back(panel.instrument.Position(id));
    }
    if (isOther || now != positions || panel.sampleRate != shownRate) {
        positions = std::move(now);
        shownRate = panel.sampleRate;
        picture = EffectPicture::Of(panel.instrument, slot, shownRate);
        setDescription(picture.text);
        repaint();
    }
}

juce::Rectangle<float> EffectPictureView::Field() const {
    return getLocalBounds().toFloat().withTrimmedBottom(textHeight);
}

void EffectPictureView::paint(juce::Graphics& g) {
    if (!HasPicture()) {
        return;
    }
    const juce::Rectangle<float> field = Field();
    FillBox(g, field, PanelLook::Of(*this).field);
    DrawMarks(g, field);
    picture.bars.empty() ? DrawCurve(g, field) : DrawBars(g, field);
}

void EffectPictureView::DrawMarks(juce::Graphics& g, juce::Rectangle<float> field) const {
    const Palette& colours = PanelLook::Of(*this);
    for (const EffectPicture::Mark& mark : picture.across) {
        const float x = PlaceIn(field, mark.at, 0.0).x;
        g.setColour(ToJuce(colours.line));
        g.fillRect(juce::Rectangle<float>(x - 0.5F, field.getY(), 1.0F, field.getHeight()));
        const juce::Rectangle<float> text(x - 0.5F * textWidth, field.getBottom(), textWidth, textHeight);
        DrawText(g, mark.text, text.constrainedWithin(getLocalBounds().toFloat()), Sizes::labelFont,
                 colours.dimText);
    }
    for (const EffectPicture::Mark& mark : picture.up) {
        const float y = PlaceIn(field, 0.0, mark.at).y;
        g.setColour(ToJuce(colours.line));
        g.fillRect(juce::Rectangle<float>(field.getX(), y - 0.5F, field.getWidth(), 1.0F));
        const float top = y - textHeight < field.getY() ? y : y - textHeight;
        DrawText(g, mark.text, {field.getX() + 4.0F, top, textWidth, textHeight}, Sizes::labelFont,
                 colours.dimText, juce::Justification::centredLeft);
    }
}

void EffectPictureView::DrawCurve(juce::Graphics& g, juce::Rectangle<float> field) const {
    const juce::Colour accent = ToJuce(PanelLook::Of(*this).accent);
    juce::Path line;
    for (const EffectPicture::Point& point : picture.curve) {
        const juce::Point<float> place = PlaceIn(field, point.x, point.y);
        // A path of one point counts as empty.
        point.x == picture.curve.front().x ? line.startNewSubPath(place) : line.lineTo(place);
    }
    juce::Path filled(line);
    filled.lineTo(PlaceIn(field, 1.0, picture.filledFrom));
    filled.lineTo(PlaceIn(field, 0.0, picture.filledFrom));
    filled.closeSubPath();
    g.setColour(accent.withAlpha(fillAlpha));
    g.fillPath(filled);
    g.setColour(accent);
    g.strokePath(line, juce::PathStrokeType(2.0F, juce::PathStrokeType::curved));
}

/// Those of the left side to the left of their time, in the accent colour; those of the right to the right.
void EffectPictureView::DrawBars(juce::Graphics& g, juce::Rectangle<float> field) const {
    const Palette& colours = PanelLook::Of(*this);
    for (const EffectPicture::Bar& bar : picture.bars) {
        const juce::Point<float> top = PlaceIn(field, bar.end.x, bar.end.y);
        const float left = bar.isRight ? top.x + 0.5F : top.x - barWidth - 0.5F;
        FillBox(g, {left, top.y, barWidth, field.getBottom() - top.y},
                bar.isRight ? colours.text : colours.accent, 1.5F);
    }
    DrawText(g, "left", field.removeFromTop(textHeight).withTrimmedRight(48.0F).removeFromRight(30.0F),
             Sizes::labelFont, colours.accent, juce::Justification::centredRight);
    juce::Rectangle<float> corner = Field().removeFromTop(textHeight).withTrimmedRight(6.0F);
    DrawText(g, "right", corner.removeFromRight(36.0F), Sizes::labelFont, colours.text,
             juce::Justification::centredRight);
}

} // namespace orphia::panel
