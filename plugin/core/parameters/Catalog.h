// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parameters/ParameterCatalog.h"

namespace orphia::plugin {

/// The parameters of the instrument that plug-in and panel play.
inline const host::ParameterCatalog& Catalog() { return host::ParameterCatalog::OfInstrument(); }

} // namespace orphia::plugin
