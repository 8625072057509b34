// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Standard.h"
#include "support/platform/Types.h"

#include <numeric>

namespace Velmora::dsp {

/// Whether all samples are zero without a sign: what a stage at rest need not run for.
inline bool IsSilent(const float* samples, u32 count) {
    return std::accumulate(samples, samples + count, 0U,
                           [](u32 all, float x) { return all | BitCast<u32>(x); }) == 0;
}

} // namespace Velmora::dsp
