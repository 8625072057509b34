// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"

#include <vector>

namespace Velmora::dsp {

/// The parameters of Compressor from "Wet" on, with their start values.
std::vector<ModuleParam> CompressorRecords();

} // namespace Velmora::dsp
