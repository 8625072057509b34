// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"

#include <algorithm>

namespace Velmora::dsp {

/// Passes an input to the output of the same number, which may be the same buffer. One that is null or absent
/// counts as silence.
inline void CopyChannel(const ProcessContext& context, u32 channel) {
    const float* in = context.InputOrNull(channel);
    float* out = context.outputs[channel];
    if (in == nullptr) {
        std::fill_n(out, context.numFrames, 0.0F);
    } else if (in != out) {
        std::copy_n(in, context.numFrames, out);
    }
}

} // namespace Velmora::dsp
