// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parameters/ParameterCatalog.h"

namespace orphia::tools {

/// Prints the controls, one a line, with range, value in the built-in preset, and use; on demand all
/// parameters.
void PrintParameterList(const host::ParameterCatalog& catalog, bool all);

} // namespace orphia::tools
