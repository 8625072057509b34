// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/model/PanelModel.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace orphia::panel {

/// What the menu of a macro offers beside that of any control: its name, and what it moves, from where to
/// where.
void AddMacroItems(juce::PopupMenu& menu, PanelModel& panel, unsigned macro, juce::Component& beside);

} // namespace orphia::panel
