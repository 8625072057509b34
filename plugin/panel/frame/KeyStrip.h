// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/ParameterControl.h"

#include <bitset>
#include <map>
#include <memory>

namespace orphia::panel {

/// A keyboard with the keys that are held, whoever holds them; played by the mouse, and by the keys of the
/// computer.
class Keyboard final : public juce::Component, public Live {
public:
    static constexpr int firstKey = 36;
    static constexpr int keyCount = 61;

    explicit Keyboard(PanelModel& panel);
    ~Keyboard() override;

    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void mouseDown(const juce::MouseEvent& event) override;
    void mouseDrag(const juce::MouseEvent& event) override;
    void mouseUp(const juce::MouseEvent& event) override;

    /// Looks at which of the computer's keys are down. True when one of them is a key of this.
    bool FollowComputer();
    void ReleaseAll();
    juce::Rectangle<float> AreaOf(int key) const;

private:
    int KeyAt(juce::Point<float> place) const;
    void Press(int key, float velocity);
    void Release(int key);
    void ReleaseWhatIsUp();
    void MoveMouseTo(const juce::MouseEvent& event);

    PanelModel& panel;
    std::bitset<128> held;
    int underMouse = -1;
    /// By letter, of those that are down.
    std::map<char, int> computer;
    int computerOctave = 4;
    bool wasOctaveKey = false;
};

/// Bend, wheel, pedal, keyboard, and the state of the instrument.
class KeyStrip final : public juce::Component, public Live {
public:
    explicit KeyStrip(PanelModel& panel);
    ~KeyStrip() override;

    Keyboard& Keys() { return keyboard; }

    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    class Wheel;
    class Status;

    PanelModel& panel;
    std::unique_ptr<Wheel> bend;
    std::unique_ptr<Wheel> wheel;
    std::unique_ptr<Wheel> pedal;
    Keyboard keyboard;
    std::unique_ptr<ParameterControl> mpe;
    std::unique_ptr<Status> status;
};

} // namespace orphia::panel
