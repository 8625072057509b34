// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp {

/// A phase that neither sync nor FM touches, in units of 2^-64 cycles: at frame n of a block it is
/// start + (n + 1) * step.
struct SteadyPhase {
    u64 start;
    u64 step;
    /// Cycles per sample.
    float increment;
};

} // namespace Velmora::dsp
