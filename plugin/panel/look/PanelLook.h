// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/look/Palette.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace orphia::panel {

/// Brings the palette to the widgets of JUCE, and to our own: they ask with Of.
class PanelLook final : public juce::LookAndFeel_V4 {
public:
    explicit PanelLook(bool isBright);

    void SetBright(bool isBright);
    const Palette& Colours() const { return palette; }
    /// Of the panel that a component is in.
    static const Palette& Of(const juce::Component& component);

    static juce::Font Font(float size, bool isBold = false);

    void drawTooltip(juce::Graphics& g, const juce::String& text, int width, int height) override;
    juce::Rectangle<int> getTooltipBounds(const juce::String& text, juce::Point<int> position,
                                          juce::Rectangle<int> parent) override;
    juce::Font getPopupMenuFont() override { return Font(Sizes::textFont); }
    void drawPopupMenuBackground(juce::Graphics& g, int width, int height) override;
    void fillTextEditorBackground(juce::Graphics& g, int width, int height, juce::TextEditor& field) override;
    void drawTextEditorOutline(juce::Graphics& g, int width, int height, juce::TextEditor& field) override;
    juce::Typeface::Ptr getTypefaceForFont(const juce::Font& font) override;

private:
    Palette palette{};
};

inline juce::Colour ToJuce(Palette::Colour colour) { return juce::Colour(colour); }

/// A filled rounded rectangle, and the line that shows what the keyboard acts on.
void FillBox(juce::Graphics& g, juce::Rectangle<float> box, Palette::Colour colour,
             float corner = Sizes::smallCorner);
void DrawFocus(juce::Graphics& g, const juce::Component& component, juce::Rectangle<float> box);
void DrawText(juce::Graphics& g, const juce::String& text, juce::Rectangle<float> box, float size,
              Palette::Colour colour, juce::Justification where = juce::Justification::centred,
              bool isBold = false);

} // namespace orphia::panel
