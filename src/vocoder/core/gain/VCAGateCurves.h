// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

/// The curves of the gate's circuit, four frames at a time.
namespace Velmora::Processor::gateCurves {

using dsp::simd::Float4;

/// The current into the gate's capacitor at a control voltage: none, a bend, then a straight line.
inline Float4 Current(Float4 c) {
    const Float4 line = -2.22997e-05F - c * 2.28312e-05F;
    const Float4 bend = ((c * 8.80099e-06F + 4.27897e-05F) * c + 4.59834e-05F) * c + 1.42501e-05F;
    const Float4 belowZero = xsimd::select(c < -0.679963F, bend, Float4(0.0F));
    return xsimd::select(c < -1.7626F, line, belowZero);
}

/// The amplifier's soft limiter: an odd curve close to the hyperbolic tangent, in three pieces.
inline Float4 Shape(Float4 v) {
    const Float4 m = xsimd::abs(v);
    const Float4 low = m - (m * 0.10321397F + 0.13519187F) * m * m;
    const Float4 middle = ((m * 0.08575832F - 0.5605742F) * m + 1.2838478F) * m - 0.04743774F;
    const Float4 high = (m - 1.5091578F) / (m - 1.4908422F);
    const Float4 upper = xsimd::select(m > 2.0F, high, middle);
    return xsimd::copysign(xsimd::select(m > 1.0F, upper, low), v);
}

/// The limiter while no magnitude passes 1.
inline Float4 ShapeQuiet(Float4 v) {
    const Float4 m = xsimd::abs(v);
    return xsimd::copysign(m - (m * 0.10321397F + 0.13519187F) * m * m, v);
}

} // namespace Velmora::Processor::gateCurves
