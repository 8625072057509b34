// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace orphia::test {

/// Works a component that is on the desktop as a user does: what it sends goes in at the window, where the
/// system's own events come in, and finds its way by itself.
class PanelHands {
public:
    explicit PanelHands(juce::Component& window);
    ~PanelHands();

    /// The left button, if the modifiers tell no other.
    void Press(juce::Point<float> place, juce::ModifierKeys modifiers = {});
    void MoveTo(juce::Point<float> place);
    void Release();
    void Click(juce::Component& component, juce::Point<float> within);
    void Click(juce::Component& component);
    void DoubleClick(juce::Component& component, juce::Point<float> within);
    /// In points of the component, shift for fine.
    void Drag(juce::Component& component, juce::Point<float> from, juce::Point<float> to,
              juce::ModifierKeys modifiers = {});
    /// As the window's own drag and drop brings a file or folder; in two halves.
    void DragFile(juce::Component& component, juce::Point<float> within, const juce::String& file);
    void DropFile();
    void Wheel(juce::Component& component, float amount);
    void Key(int code, juce::ModifierKeys modifiers = {}, juce::juce_wchar text = 0);
    void Type(const juce::String& text);

    /// In the window, of a place in a component.
    juce::Point<float> PlaceOf(juce::Component& component, juce::Point<float> within) const;
    /// Lets messages and timers run for a while.
    static void Wait(int milliseconds);

private:
    void Send(juce::ModifierKeys modifiers);

    juce::Component& window;
    juce::Point<float> mouse;
    juce::ModifierKeys held;
    juce::int64 time;
    juce::ComponentPeer::DragInfo files;
};

} // namespace orphia::test
