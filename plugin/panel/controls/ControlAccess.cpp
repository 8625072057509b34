// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/controls/ControlAccess.h"

#include "plugin/panel/controls/ParameterControl.h"

namespace orphia::panel {

namespace {

class ControlValue final : public juce::AccessibilityValueInterface {
public:
    explicit ControlValue(ParameterControl& ofControl) : control(ofControl) {}

    bool isReadOnly() const override { return false; }
    double getCurrentValue() const override { return control.Position(); }
    juce::String getCurrentValueAsString() const override { return control.Value(); }
    void setValue(double value) override { control.SetPosition(static_cast<float>(value)); }
    void setValueAsString(const juce::String& text) override { control.Type(text); }
    AccessibleValueRange getRange() const override {
        const unsigned steps = control.Model().stepCount;
        return {{0.0, 1.0}, steps > 1 ? 1.0 / (steps - 1) : 0.01};
    }

private:
    ParameterControl& control;
};

juce::AccessibilityRole RoleOf(const ParameterControl& control) {
    switch (control.Model().kind) {
    case ControlKind::Switch:
        return juce::AccessibilityRole::toggleButton;
    case ControlKind::Choice:
        return juce::AccessibilityRole::comboBox;
    default:
        return juce::AccessibilityRole::slider;
    }
}

} // namespace

std::unique_ptr<juce::AccessibilityHandler> MakeControlAccess(ParameterControl& control) {
    juce::AccessibilityActions actions;
    actions.addAction(juce::AccessibilityActionType::showMenu, [&control] { control.ShowMenu(); });
    actions.addAction(juce::AccessibilityActionType::press, [&control] {
        const bool isOn = control.Position() >= 0.5F;
        control.Model().kind == ControlKind::Switch ? control.SetPosition(isOn ? 0.0F : 1.0F)
                                                    : control.StartTyping();
    });
    return std::make_unique<juce::AccessibilityHandler>(
        control, RoleOf(control), actions,
        juce::AccessibilityHandler::Interfaces{std::make_unique<ControlValue>(control)});
}

} // namespace orphia::panel
