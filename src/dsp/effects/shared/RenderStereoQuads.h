// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/shared/LoopSamples.h"
#include "dsp/framework/ProcessContext.h"

#include <type_traits>

namespace Velmora::dsp {

/// One block of a stereo effect, four frames at a time, from inputs 0 and 1, either of which may be absent,
/// to outputs 0 and 1. `render(moving, left, right)` turns a quad in place; `moving`, a std::bool_constant,
/// tells whether the controls, which step once per quad, are on their way in this block.
template <class Controls, class Render>
void RenderStereoQuads(const ProcessContext& context, Controls& controls, Render render) {
    const float* leftIn = context.InputOrNull(0);
    const float* rightIn = context.InputOrNull(1);
    const auto run = [&](auto moving) {
        for (u32 n = 0; n < context.numFrames; n += simd::Float4::size) {
            simd::Float4 left = AdmitSound(leftIn, n);
            simd::Float4 right = AdmitSound(rightIn, n);
            if constexpr (moving.value) {
                controls.Step();
            }
            render(moving, left, right);
            left.store_unaligned(context.outputs[0] + n);
            right.store_unaligned(context.outputs[1] + n);
        }
    };
    if (controls.IsMoving()) {
        run(std::true_type());
    } else {
        run(std::false_type());
    }
}

} // namespace Velmora::dsp
