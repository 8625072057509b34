// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/controls/ParameterControl.h"

#include "plugin/panel/controls/ControlAccess.h"
#include "plugin/panel/controls/ModulationBox.h"

#include <cmath>

namespace orphia::panel {

namespace {

constexpr float clickDistance = 3.0F;
constexpr float wheelStep = 0.08F;

} // namespace

ParameterControl::ParameterControl(PanelModel& ofPanel, ControlModel control)
    : panel(ofPanel), model(std::move(control)), position(panel.instrument.Position(model.id)) {
    setWantsKeyboardFocus(true);
    setTitle(model.label);
    setName(model.name);
    setComponentID(juce::String(model.id));
    setTooltip(model.tooltip);
}

ParameterControl::~ParameterControl() { EndDrag(); }

void ParameterControl::SetTexts(const std::string& label, const juce::String& tooltip) {
    setTooltip(tooltip);
    if (model.label != label) {
        model.label = label;
        setTitle(label);
        repaint();
    }
}

void ParameterControl::SetPosition(float next) {
    panel.history.Set(model.id, model.Snap(next));
    Refresh();
}

void ParameterControl::Nudge(int clicks, bool isFine) { SetPosition(model.Moved(position, clicks, isFine)); }

void ParameterControl::ResetToStart() { SetPosition(model.start); }

void ParameterControl::Refresh() {
    if (const bool learns = panel.instrument.Controllers().WaitsFor() == model.id; learns != isLearning) {
        isLearning = learns;
        repaint();
    }
    const float now = panel.instrument.Position(model.id);
    const std::optional<float> moved = panel.modulation.ModulatedPosition(model.id);
    const bool isSame = now == position && moved.has_value() == modulated.has_value() &&
                        std::fabs(moved.value_or(0.0F) - modulated.value_or(0.0F)) < 0.002F;
    if (isSame) {
        return;
    }
    const bool hasOtherValue = now != position;
    position = now;
    modulated = moved;
    repaint();
    if (hasOtherValue) {
        if (auto* const handler = getAccessibilityHandler()) {
            handler->notifyAccessibilityEvent(juce::AccessibilityEvent::valueChanged);
        }
    }
}

void ParameterControl::mouseDown(const juce::MouseEvent& event) {
    if (event.mods.isPopupMenu()) {
        ShowMenu();
        return;
    }
    isDragged = true;
    hasMoved = false;
    dragPosition = position;
    dragFrom = event.position;
    panel.history.Begin(model.label);
}

void ParameterControl::mouseDrag(const juce::MouseEvent& event) {
    if (!isDragged || (!hasMoved && event.position.getDistanceFrom(dragFrom) < clickDistance)) {
        return;
    }
    if (!hasMoved) {
        hasMoved = true;
        dragFrom = event.position;
    }
    const float way = IsDragVertical() ? dragFrom.y - event.position.y : event.position.x - dragFrom.x;
    dragFrom = event.position;
    dragPosition = std::clamp(
        dragPosition + way / DragLength() * (event.mods.isShiftDown() ? fineDrag : 1.0F), 0.0F, 1.0F);
    SetPosition(dragPosition);
}

void ParameterControl::EndDrag() {
    if (isDragged) {
        isDragged = false;
        panel.history.End();
    }
}

void ParameterControl::mouseUp(const juce::MouseEvent& event) {
    const bool isClick = isDragged && !hasMoved;
    EndDrag();
    if (isClick && event.getNumberOfClicks() == 1 && contains(event.getPosition())) {
        Clicked(event);
    }
}

void ParameterControl::mouseDoubleClick(const juce::MouseEvent& event) {
    if (!event.mods.isPopupMenu()) {
        ResetToStart();
    }
}

void ParameterControl::Clicked(const juce::MouseEvent& event) {
    if (ValueArea().contains(event.getPosition())) {
        StartTyping();
        return;
    }
    const auto destination = panel.modulation.DestinationOf(model.id);
    if (destination && LabelArea().contains(event.getPosition())) {
        ModulationBox::Show(panel, *this, *destination);
    }
}

void ParameterControl::paintOverChildren(juce::Graphics& g) {
    if (isLearning) {
        FillBox(g, Bounds(), Palette::WithAlpha(Colours().accent, 0x38));
    }
}

void ParameterControl::mouseWheelMove(const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) {
    wheelRest += (wheel.isReversed ? -1.0F : 1.0F) * (wheel.deltaY != 0.0F ? wheel.deltaY : wheel.deltaX);
    const float clicks = std::trunc(wheelRest / wheelStep);
    if (clicks != 0.0F) {
        wheelRest -= clicks * wheelStep;
        Nudge(static_cast<int>(clicks), event.mods.isShiftDown());
    }
}

bool ParameterControl::keyPressed(const juce::KeyPress& key) {
    const bool isFine = key.getModifiers().isShiftDown();
    const int code = key.getKeyCode();
    if (key.getModifiers().isCommandDown() || key.getModifiers().isAltDown()) {
        return false;
    }
    if (code == juce::KeyPress::upKey || code == juce::KeyPress::rightKey) {
        Nudge(1, isFine);
    } else if (code == juce::KeyPress::downKey || code == juce::KeyPress::leftKey) {
        Nudge(-1, isFine);
    } else if (code == juce::KeyPress::pageUpKey || code == juce::KeyPress::pageDownKey) {
        Nudge(code == juce::KeyPress::pageUpKey ? 10 : -10, false);
    } else if (code == juce::KeyPress::homeKey || code == juce::KeyPress::endKey) {
        SetPosition(code == juce::KeyPress::homeKey ? 0.0F : 1.0F);
    } else if (code == juce::KeyPress::deleteKey || code == juce::KeyPress::backspaceKey) {
        ResetToStart();
    } else if (code == juce::KeyPress::returnKey) {
        StartTyping();
    } else if (code == juce::KeyPress::F10Key && isFine) {
        ShowMenu();
    } else if (juce::CharacterFunctions::isDigit(key.getTextCharacter()) || key.getTextCharacter() == '-') {
        StartTyping(juce::String::charToString(key.getTextCharacter()));
    } else {
        return false;
    }
    return true;
}

void ParameterControl::focusGained(FocusChangeType /*cause*/) { repaint(); }
void ParameterControl::focusLost(FocusChangeType /*cause*/) { repaint(); }

void ParameterControl::StartTyping(const juce::String& text) {
    field = std::make_unique<juce::TextEditor>();
    field->setFont(PanelLook::Font(Sizes::valueFont));
    field->setJustification(juce::Justification::centred);
    field->setIndents(2, 0);
    field->setBorder({});
    field->setTitle(model.label + " value");
    field->setBounds(ValueArea()
                         .withSizeKeepingCentre(std::max(ValueArea().getWidth(), 52), 18)
                         .constrainedWithin(getLocalBounds()));
    field->setText(text.isEmpty() ? Value() : text, false);
    field->onReturnKey = [this] { Type(field->getText()); };
    field->onEscapeKey = [this] {
        juce::MessageManager::callAsync([safe = juce::Component::SafePointer(this)] {
            if (safe != nullptr) {
                safe->field.reset();
                safe->grabKeyboardFocus();
            }
        });
    };
    field->onFocusLost = [this] {
        juce::MessageManager::callAsync([safe = juce::Component::SafePointer(this)] {
            const bool hasField = safe != nullptr && safe->field != nullptr;
            if (hasField && !safe->field->hasKeyboardFocus(true)) {
                safe->field.reset();
            }
        });
    };
    addAndMakeVisible(*field);
    field->grabKeyboardFocus();
    if (text.isEmpty()) {
        field->selectAll();
    } else {
        field->moveCaretToEnd();
    }
}

bool ParameterControl::Type(const juce::String& text) {
    const std::optional<float> read = ReadValue(model.id, text.toStdString());
    if (!read) {
        if (field != nullptr) {
            field->applyColourToAllText(ToJuce(Colours().warning));
        }
        return false;
    }
    SetPosition(*read);
    if (field != nullptr) {
        field->onEscapeKey();
    }
    return true;
}

juce::Rectangle<int> ParameterControl::ValueArea() const { return getLocalBounds().removeFromBottom(18); }

void ParameterControl::DrawLabel(juce::Graphics& g, juce::Rectangle<float> box, juce::Justification where) {
    DrawText(g, model.label, box, Sizes::labelFont, Colours().dimText, where);
}

void ParameterControl::DrawValue(juce::Graphics& g, juce::Rectangle<float> box, juce::Justification where) {
    DrawText(g, Value(), box, Sizes::valueFont, Colours().text, where);
}

std::unique_ptr<juce::AccessibilityHandler> ParameterControl::createAccessibilityHandler() {
    return MakeControlAccess(*this);
}

} // namespace orphia::panel
