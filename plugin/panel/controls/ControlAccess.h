// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

namespace orphia::panel {

class ParameterControl;

/// What screen readers get of a control: its name, its value as a text, and ways to move it.
std::unique_ptr<juce::AccessibilityHandler> MakeControlAccess(ParameterControl& control);

} // namespace orphia::panel
