// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "clap/id.h"

namespace orphia::plugin {

/// A host's value of a parameter as a position, and back.
float ClapPosition(clap_id id, double value);
double ClapValue(clap_id id, float position);

} // namespace orphia::plugin
