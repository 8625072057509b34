// SPDX-License-Identifier: GPL-3.0-or-later
#include "panel/PanelHands.h"

namespace juce {
// Of JUCE's own loop, which offers no way to run it for a while and go on.
bool dispatchNextMessageOnSystemQueue(bool returnIfNoPendingMessages);
} // namespace juce

namespace orphia::test {

namespace {

constexpr int stepsOfDrag = 12;
constexpr int mostWaits = 200;

} // namespace

PanelHands::PanelHands(juce::Component& onWindow) : window(onWindow), time(juce::Time::currentTimeMillis()) {
    window.addToDesktop(0);
    window.setTopLeftPosition(0, 0);
    window.setVisible(true);
    for (int n = 0; n < mostWaits && !window.getPeer()->isFocused(); ++n) {
        window.getPeer()->grabFocus();
        Wait(20);
    }
    window.grabKeyboardFocus();
}

PanelHands::~PanelHands() {
    juce::PopupMenu::dismissAllActiveMenus();
    Wait(20);
    window.removeFromDesktop();
}

void PanelHands::Wait(int milliseconds) {
    const auto end = juce::Time::getMillisecondCounter() + static_cast<juce::uint32>(milliseconds);
    while (juce::Time::getMillisecondCounter() < end) {
        if (!juce::dispatchNextMessageOnSystemQueue(true)) {
            juce::Thread::sleep(1);
        }
    }
}

juce::Point<float> PanelHands::PlaceOf(juce::Component& component, juce::Point<float> within) const {
    return window.getLocalPoint(&component, within);
}

void PanelHands::Send(juce::ModifierKeys modifiers) {
    held = modifiers;
    time += 5;
    juce::ModifierKeys::currentModifiers = modifiers;
    window.getPeer()->handleMouseEvent(juce::MouseInputSource::InputSourceType::mouse, mouse, modifiers, 0.0F,
                                       0.0F, time);
}

void PanelHands::Press(juce::Point<float> place, juce::ModifierKeys modifiers) {
    mouse = place;
    Send(modifiers.withoutMouseButtons());
    Send(modifiers.isAnyMouseButtonDown() ? modifiers
                                          : modifiers.withFlags(juce::ModifierKeys::leftButtonModifier));
}

void PanelHands::MoveTo(juce::Point<float> place) {
    mouse = place;
    Send(held);
}

void PanelHands::Release() { Send(held.withoutMouseButtons()); }

void PanelHands::Click(juce::Component& component, juce::Point<float> within) {
    // Long after the last one, so that two clicks are not a double one.
    time += 2000;
    Press(PlaceOf(component, within));
    Release();
    Wait(20);
}

void PanelHands::Click(juce::Component& component) {
    Click(component, component.getLocalBounds().toFloat().getCentre());
}

void PanelHands::DoubleClick(juce::Component& component, juce::Point<float> within) {
    Click(component, within);
    time += 50;
    Press(PlaceOf(component, within));
    Release();
    Wait(20);
}

void PanelHands::Drag(juce::Component& component, juce::Point<float> from, juce::Point<float> to,
                      juce::ModifierKeys modifiers) {
    const juce::Point<float> start = PlaceOf(component, from);
    const juce::Point<float> end = PlaceOf(component, to);
    time += 2000;
    Press(start, modifiers);
    for (int step = 1; step <= stepsOfDrag; ++step) {
        MoveTo(start + (end - start) * (static_cast<float>(step) / stepsOfDrag));
    }
    Release();
    Wait(20);
}

void PanelHands::DragFile(juce::Component& component, juce::Point<float> within, const juce::String& file) {
    files.files = juce::StringArray(file);
    files.position = PlaceOf(component, within).toInt();
    window.getPeer()->handleDragMove(files);
    Wait(20);
}

void PanelHands::DropFile() {
    window.getPeer()->handleDragDrop(files);
    // It comes as a message.
    Wait(20);
}

void PanelHands::Wheel(juce::Component& component, float amount) {
    mouse = PlaceOf(component, component.getLocalBounds().toFloat().getCentre());
    Send({});
    juce::MouseWheelDetails wheel{};
    wheel.deltaY = amount;
    time += 5;
    window.getPeer()->handleMouseWheel(juce::MouseInputSource::InputSourceType::mouse, mouse, time, wheel);
}

void PanelHands::Key(int code, juce::ModifierKeys modifiers, juce::juce_wchar text) {
    juce::ModifierKeys::currentModifiers = modifiers;
    window.getPeer()->handleKeyPress(juce::KeyPress(code, modifiers, text));
    juce::ModifierKeys::currentModifiers = {};
    Wait(20);
}

void PanelHands::Type(const juce::String& text) {
    for (const juce::juce_wchar letter : text) {
        Key(static_cast<int>(letter), {}, letter);
    }
}

} // namespace orphia::test
