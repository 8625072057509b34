// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Live.h"
#include "plugin/panel/look/PanelLook.h"
#include "plugin/panel/model/ControlModel.h"
#include "plugin/panel/model/PanelModel.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <optional>

namespace orphia::panel {

/// With shift a mouse or a key moves so much less.
inline constexpr float fineDrag = 0.1F;

/// What all controls of one parameter do alike: they follow it, are dragged (with shift finely), turned by
/// the wheel, moved by keys, set back by a double click, typed into (a click on the value, return or a
/// digit), and have a menu. What is different is how they are drawn, and what a click does. Everything goes
/// through History.
class ParameterControl : public juce::Component, public juce::SettableTooltipClient, public Live {
public:
    ParameterControl(PanelModel& panel, ControlModel control);
    ~ParameterControl() override;

    /// As its kind asks.
    static std::unique_ptr<ParameterControl> Make(PanelModel& panel, ControlModel control);

    const ControlModel& Model() const { return model; }
    float Position() const { return position; }
    juce::String Value() const { return ValueText(model.id, position); }

    /// Other texts than the model's.
    void SetTexts(const std::string& label, const juce::String& tooltip);
    void SetPosition(float next);
    void Nudge(int clicks, bool isFine);
    void ResetToStart();
    /// Opens the field; Type closes it with a text, as return does. False for a text that makes no sense.
    void StartTyping(const juce::String& text = {});
    bool Type(const juce::String& text);
    void ShowMenu();

    void Refresh() override;

    void paintOverChildren(juce::Graphics& g) override;
    void mouseDown(const juce::MouseEvent& event) override;
    void mouseDrag(const juce::MouseEvent& event) override;
    void mouseUp(const juce::MouseEvent& event) override;
    void mouseDoubleClick(const juce::MouseEvent& event) override;
    void mouseWheelMove(const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) override;
    bool keyPressed(const juce::KeyPress& key) override;
    void focusGained(FocusChangeType cause) override;
    void focusLost(FocusChangeType cause) override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

protected:
    /// Where the value stands, and is typed.
    virtual juce::Rectangle<int> ValueArea() const;
    /// Where the name stands: a click on it lists what modulates the control.
    virtual juce::Rectangle<int> LabelArea() const { return getLocalBounds().removeFromTop(16); }
    /// A click that was no drag.
    virtual void Clicked(const juce::MouseEvent& event);
    virtual bool IsDragVertical() const { return true; }
    /// Points of the mouse for the whole way.
    virtual float DragLength() const { return 180.0F; }

    const Palette& Colours() const { return PanelLook::Of(*this); }
    juce::Rectangle<float> Bounds() const { return getLocalBounds().toFloat(); }
    /// Between 0 and 1: where modulation has the control now.
    std::optional<float> Modulated() const { return modulated; }
    void DrawLabel(juce::Graphics& g, juce::Rectangle<float> box, juce::Justification where);
    void DrawValue(juce::Graphics& g, juce::Rectangle<float> box, juce::Justification where);

    PanelModel& panel;

private:
    void EndDrag();
    void FillMenu(juce::PopupMenu& menu);
    void AddLearnItems(juce::PopupMenu& menu);
    juce::PopupMenu MacroMenu();
    juce::PopupMenu ModulationMenu(unsigned destination);
    void AssignMacro(unsigned macro, bool isAssigned);

    ControlModel model;
    float position = 0.0F;
    std::optional<float> modulated;
    /// The next controller that moves is for this.
    bool isLearning = false;
    bool isDragged = false;
    bool hasMoved = false;
    float dragPosition = 0.0F;
    juce::Point<float> dragFrom;
    float wheelRest = 0.0F;
    std::unique_ptr<juce::TextEditor> field;
};

} // namespace orphia::panel
