// SPDX-License-Identifier: GPL-3.0-or-later
// The kinds of controls: how each is drawn, and what a click on it does.
#include "plugin/panel/controls/ParameterControl.h"

#include <cmath>
#include <numbers>

namespace orphia::panel {

namespace {

constexpr float turn = 2.0F * std::numbers::pi_v<float>;
constexpr float firstAngle = turn * 0.625F;
constexpr float lastAngle = turn * 1.375F;

float AngleAt(float position) { return firstAngle + (lastAngle - firstAngle) * position; }

/// Name, dial, value. The arc outside the dial shows where modulation has it.
class Knob final : public ParameterControl {
public:
    using ParameterControl::ParameterControl;

    void paint(juce::Graphics& g) override {
        juce::Rectangle<float> area = Bounds();
        DrawFocus(g, *this, area);
        DrawLabel(g, area.removeFromTop(16.0F), juce::Justification::centred);
        DrawValue(g, area.removeFromBottom(17.0F), juce::Justification::centred);
        const float size = std::min({Sizes::knob, area.getWidth(), area.getHeight()});
        DrawDial(g, area.withSizeKeepingCentre(size, size));
    }

private:
    void Arc(juce::Graphics& g, juce::Rectangle<float> box, float from, float to, Palette::Colour colour,
             float line) const {
        juce::Path arc;
        arc.addCentredArc(box.getCentreX(), box.getCentreY(), box.getWidth() / 2.0F, box.getHeight() / 2.0F,
                          0.0F, AngleAt(std::min(from, to)), AngleAt(std::max(from, to)), true);
        g.setColour(ToJuce(colour));
        g.strokePath(arc,
                     juce::PathStrokeType(line, juce::PathStrokeType::curved, juce::PathStrokeType::rounded));
    }

    void DrawDial(juce::Graphics& g, juce::Rectangle<float> box) const {
        const Palette& colours = Colours();
        const float line = Sizes::knobLine;
        const juce::Rectangle<float> ring = box.reduced(line);
        const float from = Model().isBipolar ? 0.5F : 0.0F;
        Arc(g, ring, 0.0F, 1.0F, colours.line, line);
        if (std::fabs(Position() - from) > 0.002F) {
            Arc(g, ring, from, Position(), colours.accent, line);
        }
        const juce::Rectangle<float> cap = ring.reduced(line + 1.5F);
        g.setColour(ToJuce(colours.field));
        g.fillEllipse(cap);
        const float angle = AngleAt(Position());
        const juce::Point<float> centre = cap.getCentre();
        const float radius = cap.getWidth() / 2.0F;
        g.setColour(ToJuce(colours.text));
        g.drawLine({centre.getPointOnCircumference(radius * 0.35F, angle),
                    centre.getPointOnCircumference(radius * 0.92F, angle)},
                   2.0F);
        if (const auto there = Modulated()) {
            const juce::Point<float> dot =
                centre.getPointOnCircumference(ring.getWidth() / 2.0F, AngleAt(*there));
            Arc(g, ring, Position(), *there, colours.text, 1.5F);
            g.setColour(ToJuce(colours.text));
            g.fillEllipse(juce::Rectangle<float>(6.0F, 6.0F).withCentre(dot));
        }
    }
};

/// A line with the value in it, or upright, where it is higher than wide.
class Slider final : public ParameterControl {
public:
    using ParameterControl::ParameterControl;

    void paint(juce::Graphics& g) override {
        DrawFocus(g, *this, Bounds());
        IsUpright() ? DrawUpright(g) : DrawFlat(g);
    }

protected:
    bool IsDragVertical() const override { return IsUpright(); }
    float DragLength() const override { return IsUpright() ? Track().getHeight() : Track().getWidth(); }
    juce::Rectangle<int> ValueArea() const override {
        return IsUpright() ? getLocalBounds().removeFromBottom(17) : getLocalBounds().removeFromRight(52);
    }
    juce::Rectangle<int> LabelArea() const override {
        return IsUpright() ? ParameterControl::LabelArea()
                           : getLocalBounds().removeFromLeft(juce::roundToInt(LabelWidth()));
    }

private:
    bool IsUpright() const { return getHeight() > getWidth(); }

    juce::Rectangle<float> Track() const {
        juce::Rectangle<float> area = Bounds();
        if (IsUpright()) {
            return area.withTrimmedTop(16.0F).withTrimmedBottom(19.0F).withSizeKeepingCentre(
                6.0F, area.getHeight() - 35.0F);
        }
        return area.withTrimmedLeft(LabelWidth())
            .withTrimmedRight(54.0F)
            .withSizeKeepingCentre(area.getWidth() - LabelWidth() - 54.0F, 6.0F);
    }
    float LabelWidth() const { return Bounds().getWidth() * (Bounds().getWidth() > 300.0F ? 0.5F : 0.3F); }

    juce::Point<float> PlaceOn(const juce::Rectangle<float>& track, float at) const {
        return IsUpright()
                   ? juce::Point<float>(track.getCentreX(), track.getBottom() - at * track.getHeight())
                   : juce::Point<float>(track.getX() + at * track.getWidth(), track.getCentreY());
    }

    void DrawTrack(juce::Graphics& g) const {
        const Palette& colours = Colours();
        const juce::Rectangle<float> track = Track();
        FillBox(g, track, colours.line, 3.0F);
        const juce::Point<float> from = PlaceOn(track, Model().isBipolar ? 0.5F : 0.0F);
        const juce::Point<float> to = PlaceOn(track, Position());
        juce::Rectangle<float> filled(from, to);
        filled = IsUpright() ? filled.withX(track.getX()).withWidth(track.getWidth())
                             : filled.withY(track.getY()).withHeight(track.getHeight());
        FillBox(g, filled, colours.accent, 3.0F);
        FillBox(g,
                juce::Rectangle<float>(IsUpright() ? 14.0F : 4.0F, IsUpright() ? 4.0F : 14.0F).withCentre(to),
                colours.text, 2.0F);
        if (const auto there = Modulated()) {
            g.setColour(ToJuce(colours.text));
            g.fillEllipse(juce::Rectangle<float>(6.0F, 6.0F).withCentre(PlaceOn(track, *there)));
        }
    }

    void DrawUpright(juce::Graphics& g) {
        juce::Rectangle<float> area = Bounds();
        DrawLabel(g, area.removeFromTop(16.0F), juce::Justification::centred);
        DrawText(g, Value().upToFirstOccurrenceOf(" ", false, false), area.removeFromBottom(17.0F),
                 Sizes::valueFont, Colours().text);
        DrawTrack(g);
    }

    void DrawFlat(juce::Graphics& g) {
        juce::Rectangle<float> area = Bounds().reduced(2.0F, 0.0F);
        DrawLabel(g, area.removeFromLeft(LabelWidth() - 10.0F), juce::Justification::centredLeft);
        DrawValue(g, area.removeFromRight(52.0F), juce::Justification::centredRight);
        DrawTrack(g);
    }
};

/// A lamp in a box, with its name beside it, or above where the control is high.
class Switch final : public ParameterControl {
public:
    using ParameterControl::ParameterControl;

    void paint(juce::Graphics& g) override {
        juce::Rectangle<float> area = Bounds();
        const bool isHigh = area.getHeight() > 44.0F;
        DrawFocus(g, *this, area);
        if (isHigh) {
            DrawLabel(g, area.removeFromTop(16.0F), juce::Justification::centred);
            DrawValue(g, area.removeFromBottom(17.0F), juce::Justification::centred);
            DrawSwitch(g, area.withSizeKeepingCentre(30.0F, 16.0F));
            return;
        }
        area.reduce(3.0F, 0.0F);
        DrawSwitch(g, area.removeFromLeft(26.0F).withSizeKeepingCentre(26.0F, 14.0F));
        area.removeFromLeft(6.0F);
        DrawText(g, Model().label, area, Sizes::labelFont, IsOn() ? Colours().text : Colours().dimText,
                 juce::Justification::centredLeft);
    }

    void mouseDrag(const juce::MouseEvent& /*event*/) override {}
    void mouseDoubleClick(const juce::MouseEvent& event) override { Clicked(event); }
    bool keyPressed(const juce::KeyPress& key) override {
        if (key.getKeyCode() == juce::KeyPress::spaceKey || key.getKeyCode() == juce::KeyPress::returnKey) {
            SetPosition(IsOn() ? 0.0F : 1.0F);
            return true;
        }
        return ParameterControl::keyPressed(key);
    }

protected:
    void Clicked(const juce::MouseEvent& /*event*/) override { SetPosition(IsOn() ? 0.0F : 1.0F); }

private:
    bool IsOn() const { return Position() >= 0.5F; }

    void DrawSwitch(juce::Graphics& g, juce::Rectangle<float> box) const {
        const Palette& colours = Colours();
        FillBox(g, box, IsOn() ? colours.accent : colours.line, box.getHeight() / 2.0F);
        const float size = box.getHeight() - 4.0F;
        const float x = IsOn() ? box.getRight() - 2.0F - size : box.getX() + 2.0F;
        g.setColour(ToJuce(IsOn() ? colours.onAccent : colours.dimText));
        g.fillEllipse(x, box.getY() + 2.0F, size, size);
    }
};

/// A field that opens a list.
class Choice final : public ParameterControl {
public:
    using ParameterControl::ParameterControl;

    void paint(juce::Graphics& g) override {
        juce::Rectangle<float> area = Bounds();
        const Palette& colours = Colours();
        const bool isHigh = area.getHeight() > 44.0F;
        if (isHigh) {
            DrawLabel(g, area.removeFromTop(16.0F), juce::Justification::centred);
            area = area.withTrimmedBottom(17.0F).withSizeKeepingCentre(area.getWidth() - 4.0F, 24.0F);
        } else {
            if (!Model().label.empty() && area.getWidth() > 90.0F) {
                DrawLabel(g, area.removeFromLeft(LabelWidth(area.getWidth())).withTrimmedLeft(2.0F),
                          juce::Justification::centredLeft);
            }
            area = area.withSizeKeepingCentre(area.getWidth() - 2.0F, 22.0F);
        }
        FillBox(g, area, colours.field);
        DrawFocus(g, *this, area);
        juce::Path arrow;
        const bool isNarrow = area.getWidth() < 60.0F;
        const juce::Rectangle<float> tip =
            area.removeFromRight(isNarrow ? 11.0F : 16.0F).withSizeKeepingCentre(7.0F, 4.0F);
        arrow.addTriangle(tip.getTopLeft(), tip.getTopRight(), {tip.getCentreX(), tip.getBottom()});
        g.setColour(ToJuce(colours.dimText));
        g.fillPath(arrow);
        DrawText(g, Value(), area.withTrimmedLeft(isNarrow ? 4.0F : 7.0F), Sizes::valueFont, colours.text,
                 juce::Justification::centredLeft);
    }

    void mouseDrag(const juce::MouseEvent& /*event*/) override {}
    void mouseDoubleClick(const juce::MouseEvent& /*event*/) override {}
    bool keyPressed(const juce::KeyPress& key) override {
        if (key.getKeyCode() == juce::KeyPress::spaceKey || key.getKeyCode() == juce::KeyPress::returnKey) {
            Open();
            return true;
        }
        return ParameterControl::keyPressed(key);
    }

protected:
    void Clicked(const juce::MouseEvent& /*event*/) override { Open(); }

private:
    /// In a wide list names stand in a column; else as wide as the name is.
    float LabelWidth(float whole) const {
        return whole > 300.0F ? 0.5F * whole
                              : 10.0F + PanelLook::Font(Sizes::labelFont).getStringWidthFloat(Model().label);
    }

    void Open() {
        juce::PopupMenu menu;
        menu.setLookAndFeel(&getLookAndFeel());
        const juce::Component::SafePointer<Choice> self(this);
        for (unsigned step = 0; step < Model().stepCount; ++step) {
            menu.addItem(ValueText(Model().id, Model().PositionOfStep(step)), true,
                         step == Model().StepAt(Position()),
                         [self, step] { self->SetPosition(self->Model().PositionOfStep(step)); });
        }
        menu.showMenuAsync(
            juce::PopupMenu::Options().withTargetComponent(this).withDeletionCheck(*this).withParentComponent(
                getTopLevelComponent()));
    }
};

} // namespace

std::unique_ptr<ParameterControl> ParameterControl::Make(PanelModel& panel, ControlModel control) {
    switch (control.kind) {
    case ControlKind::Switch:
        return std::make_unique<Switch>(panel, std::move(control));
    case ControlKind::Choice:
        return std::make_unique<Choice>(panel, std::move(control));
    case ControlKind::Slider:
        return std::make_unique<Slider>(panel, std::move(control));
    default:
        return std::make_unique<Knob>(panel, std::move(control));
    }
}

} // namespace orphia::panel
