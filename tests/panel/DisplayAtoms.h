// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace orphia::test {

/// A window manager makes the names that windows are described with; where none runs JUCE would use names
/// that there are not, which ends the program. False without a display.
bool MakeDisplayAtoms();

} // namespace orphia::test
