// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/look/PanelLook.h"

namespace orphia::panel {

namespace {

constexpr float tooltipWidth = 320.0F;

juce::String FontName() {
    static const juce::String found = [] {
        const juce::StringArray names = juce::Font::findAllTypefaceNames();
        for (const char* const name : fontNames) {
            if (names.contains(name)) {
                return juce::String(name);
            }
        }
        return juce::Font::getDefaultSansSerifFontName();
    }();
    return found;
}

juce::TextLayout LayOut(const juce::String& text, juce::Colour colour) {
    juce::AttributedString string;
    string.append(text, PanelLook::Font(Sizes::textFont), colour);
    juce::TextLayout layout;
    layout.createLayout(string, tooltipWidth);
    return layout;
}

} // namespace

PanelLook::PanelLook(bool isBright) { SetBright(isBright); }

void PanelLook::SetBright(bool isBright) {
    palette = isBright ? Palette::Bright() : Palette::Dark();
    const auto set = [this](int id, Palette::Colour colour) { setColour(id, ToJuce(colour)); };
    set(juce::PopupMenu::backgroundColourId, palette.field);
    set(juce::PopupMenu::textColourId, palette.text);
    set(juce::PopupMenu::headerTextColourId, palette.dimText);
    set(juce::PopupMenu::highlightedBackgroundColourId, palette.accent);
    set(juce::PopupMenu::highlightedTextColourId, palette.onAccent);
    set(juce::TextEditor::backgroundColourId, palette.field);
    set(juce::TextEditor::textColourId, palette.text);
    set(juce::TextEditor::highlightColourId, palette.accent);
    set(juce::TextEditor::highlightedTextColourId, palette.onAccent);
    set(juce::TextEditor::outlineColourId, palette.line);
    set(juce::TextEditor::focusedOutlineColourId, palette.accent);
    set(juce::CaretComponent::caretColourId, palette.accent);
    set(juce::ScrollBar::thumbColourId, palette.line);
    set(juce::ListBox::backgroundColourId, palette.section);
    set(juce::Label::textColourId, palette.text);
    set(juce::AlertWindow::backgroundColourId, palette.section);
    set(juce::AlertWindow::textColourId, palette.text);
    set(juce::AlertWindow::outlineColourId, palette.line);
    set(juce::TextButton::buttonColourId, palette.field);
    set(juce::TextButton::textColourOffId, palette.text);
    set(juce::TextButton::textColourOnId, palette.text);
    set(juce::ResizableWindow::backgroundColourId, palette.background);
}

const Palette& PanelLook::Of(const juce::Component& component) {
    static const Palette none = Palette::Dark();
    const auto* const look = dynamic_cast<const PanelLook*>(&component.getLookAndFeel());
    return look != nullptr ? look->palette : none;
}

juce::Font PanelLook::Font(float size, bool isBold) {
    return juce::Font(FontName(), size, isBold ? juce::Font::bold : juce::Font::plain);
}

juce::Typeface::Ptr PanelLook::getTypefaceForFont(const juce::Font& font) {
    if (font.getTypefaceName() != juce::Font::getDefaultSansSerifFontName()) {
        return LookAndFeel_V4::getTypefaceForFont(font);
    }
    juce::Font ours(font);
    ours.setTypefaceName(FontName());
    return juce::Typeface::createSystemTypefaceFor(ours);
}

juce::Rectangle<int> PanelLook::getTooltipBounds(const juce::String& text, juce::Point<int> position,
                                                 juce::Rectangle<int> parent) {
    const juce::TextLayout layout = LayOut(text, juce::Colours::black);
    const int width = static_cast<int>(layout.getWidth()) + 20;
    const int height = static_cast<int>(layout.getHeight()) + 14;
    return juce::Rectangle<int>(position.x + 12, position.y + 16, width, height).constrainedWithin(parent);
}

void PanelLook::drawTooltip(juce::Graphics& g, const juce::String& text, int width, int height) {
    const juce::Rectangle<float> box(0.0F, 0.0F, static_cast<float>(width), static_cast<float>(height));
    g.fillAll(ToJuce(palette.field));
    g.setColour(ToJuce(palette.line));
    g.drawRect(box, 1.0F);
    LayOut(text, ToJuce(palette.text)).draw(g, box.reduced(10.0F, 7.0F));
}

void PanelLook::drawPopupMenuBackground(juce::Graphics& g, int width, int height) {
    g.fillAll(ToJuce(palette.field));
    g.setColour(ToJuce(palette.line));
    g.drawRect(0, 0, width, height);
}

void PanelLook::fillTextEditorBackground(juce::Graphics& g, int width, int height,
                                         juce::TextEditor& /*field*/) {
    g.fillAll(ToJuce(palette.section));
    FillBox(g, juce::Rectangle<int>(width, height).toFloat(), palette.field);
}

void PanelLook::drawTextEditorOutline(juce::Graphics& g, int width, int height, juce::TextEditor& field) {
    g.setColour(ToJuce(field.hasKeyboardFocus(true) ? palette.accent : palette.line));
    g.drawRoundedRectangle(juce::Rectangle<int>(width, height).toFloat().reduced(0.5F), Sizes::smallCorner,
                           1.0F);
}

void FillBox(juce::Graphics& g, juce::Rectangle<float> box, Palette::Colour colour, float corner) {
    g.setColour(ToJuce(colour));
    g.fillRoundedRectangle(box, corner);
}

void DrawFocus(juce::Graphics& g, const juce::Component& component, juce::Rectangle<float> box) {
    if (component.hasKeyboardFocus(false)) {
        g.setColour(ToJuce(PanelLook::Of(component).accent));
        g.drawRoundedRectangle(box.reduced(Sizes::focusLine / 2.0F), Sizes::smallCorner, Sizes::focusLine);
    }
}

void DrawText(juce::Graphics& g, const juce::String& text, juce::Rectangle<float> box, float size,
              Palette::Colour colour, juce::Justification where, bool isBold) {
    // To set a text takes longer than all else on a control.
    if (!g.clipRegionIntersects(box.getSmallestIntegerContainer())) {
        return;
    }
    g.setColour(ToJuce(colour));
    g.setFont(PanelLook::Font(size, isBold));
    // A text that is a little too long is set a little closer.
    g.drawFittedText(text, box.toNearestInt(), where, 1, 0.8F);
}

} // namespace orphia::panel
