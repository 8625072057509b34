// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"
#include "dsp/vectors/Silence.h"

namespace Velmora::dsp {

/// Whether inputs 0 and 1 are zero without a sign, or not there, throughout the block.
inline bool IsSilent(const ProcessContext& context) {
    const auto isSilent = [&context](u32 channel) {
        const float* input = context.InputOrNull(channel);
        return input == nullptr || IsSilent(input, context.numFrames);
    };
    return isSilent(0) && isSilent(1);
}

} // namespace Velmora::dsp
