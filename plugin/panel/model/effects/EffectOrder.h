// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/model/History.h"

namespace orphia::panel {

/// Puts what is in a slot, counted from 0, into another one; those between move up to where it was. What an
/// effect has goes along: its type, all of its controls, what the matrix and the macros move of it. The sound
/// goes through the slots in their order, so this is the order of the effects. One step of the history.
void MoveEffect(const plugin::PluginInstrument& instrument, History& history, unsigned from, unsigned to);

} // namespace orphia::panel
