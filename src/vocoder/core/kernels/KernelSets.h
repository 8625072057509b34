// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "vocoder/core/kernels/VocoderKernels.h"

namespace Velmora::Processor::kernels {

// One set per source; a set is null where the compiler does not build for that instruction set. None of
// these calls runs a wide instruction.
const VocoderKernels& BaselineSet();
const VocoderKernels* Avx2Set();
const VocoderKernels* Avx512Set();

} // namespace Velmora::Processor::kernels
