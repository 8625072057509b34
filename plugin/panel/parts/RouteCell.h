// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/ParameterControl.h"

#include <memory>

namespace orphia::panel {

/// A cell of the matrix of modulation: how far a source moves a destination, as a bar from the middle.
std::unique_ptr<ParameterControl> MakeRouteCell(PanelModel& panel, unsigned source, unsigned destination);

} // namespace orphia::panel
