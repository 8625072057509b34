// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

namespace orphia::tools {

class Performance;
class RenderOutput;
class RunDisplay;

/// Renders a performance into a file: its passage and a tail of so many seconds; without a number, until it
/// is silent. Throws FileError, and Stopped when a signal came. Warns of a tail that does not end by itself.
void RenderWhole(Performance& performance, RenderOutput& output, std::optional<double> tailSeconds,
                 RunDisplay& display);

} // namespace orphia::tools
