// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/look/PanelLook.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <algorithm>

namespace orphia::panel {

/// A line to type into, with a hint while it is empty. What stands in it takes new colours with all else; an
/// editor of JUCE would keep those that it was set in.
class TextField final : public juce::TextEditor {
public:
    TextField(const juce::String& title, const juce::String& whenEmpty) : hint(whenEmpty) {
        setTitle(title);
        setFont(PanelLook::Font(Sizes::textFont));
    }

    void lookAndFeelChanged() override {
        juce::TextEditor::lookAndFeelChanged();
        TakeColours();
    }
    void parentHierarchyChanged() override {
        juce::TextEditor::parentHierarchyChanged();
        TakeColours();
    }

    /// The line in the middle: of one that JUCE centres, what hangs below is cut.
    void resized() override {
        const int line = juce::roundToInt(getFont().getHeight());
        setIndents(sideSpace, std::max(0, (getHeight() - line) / 2 - getBorder().getTop()));
        juce::TextEditor::resized();
    }

private:
    void TakeColours() {
        setTextToShowWhenEmpty(hint, ToJuce(PanelLook::Of(*this).dimText));
        applyColourToAllText(findColour(textColourId), false);
    }

    static constexpr int sideSpace = 8;

    juce::String hint;
};

} // namespace orphia::panel
