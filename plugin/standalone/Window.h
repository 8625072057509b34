// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <string>

namespace orphia::standalone {

/// The window of the program, with all that plays in it. The text is a state to begin with; an empty one
/// begins with the last.
class Window final : public juce::DocumentWindow {
public:
    explicit Window(const std::string& firstState);
    ~Window() override;

    void closeButtonPressed() override;
};

} // namespace orphia::standalone
