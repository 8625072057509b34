// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

/// The two residuals of a wide band-limited step, for a distance of 0 to 2 samples from a discontinuity, and
/// how they are put on both sides of one. Each turns half of the discontinuity into a smooth curve: a jump of
/// height h takes -h/2 R(x) before and +h/2 R(x) after it, a change of slope by s per sample takes s/2 B(x)
/// on both sides.
namespace Velmora::dsp::polyblep {

using simd::Float4;
using Mask4 = Float4::batch_bool_type;

/// How far a discontinuity is felt, in samples.
inline constexpr float kernelReach = 2.0F;
/// Beyond the reach of the kernels.
inline constexpr float outOfReach = 4.0F;

/// R: -1 at 0, about 0 at the end of its reach. T is float or a vector of floats.
template <class T>
inline T StepResidual(T x) {
    T y = T(-0.00043589083F) * x - T(0.0577479F);
    y = y * x + T(0.37992996F);
    y = y * x - T(0.7522737F);
    y = y * x + T(0.082739435F);
    y = y * x + T(1.2420912F);
    return y * x - T(1.0F);
}

/// B: the integral of R that is about 0 at the end of its reach. T is float or a vector of floats.
template <class T>
inline T BendResidual(T x) {
    T y = T(-6.227012e-05F) * x - T(0.00962465F);
    y = y * x + T(0.07598599F);
    y = y * x - T(0.18806842F);
    y = y * x + T(0.02757981F);
    y = y * x + T(0.6210456F);
    y = y * x - T(1.0F);
    return y * x + T(0.49667034F);
}

/// Below V is a vector of floats, of any instruction set.
template <class V>
V Where(typename V::batch_bool_type mask, V x) {
    return xsimd::select(mask, x, V(0.0F));
}

/// The residuals, 0 out of reach. What is not a number is out of reach.
template <class V>
V StepWithinReach(V x) {
    return Where(x < V(kernelReach), StepResidual(x));
}
template <class V>
V BendWithinReach(V x) {
    return Where(x < V(kernelReach), BendResidual(x));
}

/// How fast the phase runs.
template <class V>
struct MotionOf {
    V increment;
    /// The size of the increment, the phase covered within the kernel's reach, and samples per cycle.
    V speed;
    V reach;
    V period;
    /// Above a quarter of the rate both sides of a wrap reach some frames.
    bool reachesOverlap;

    explicit MotionOf(V i)
        : increment(i), speed(xsimd::abs(i)), reach(speed * V(kernelReach)),
          // At a standstill nothing is in reach; the floor only keeps the quotient finite.
          period(V(1.0F) / xsimd::max(speed, V(1e-30F))), reachesOverlap(xsimd::any(reach > V(0.5F))) {}
};

using Motion = MotionOf<Float4>;

/// The step correction for a fall by 2 where the phase wraps upwards: +R ahead of the wrap, -R behind. The
/// same holds for the rise by 2 of a phase that runs down: both the height and the sides are exchanged.
template <class V>
V StepAtWrap(V phase, const MotionOf<V>& motion) {
    const V toWrap = V(1.0F) - phase;
    const V near = xsimd::min(phase, toWrap);
    const auto felt = near < motion.reach;
    if (xsimd::none(felt)) {
        return V(0.0F);
    }
    const auto isBehind = phase < toWrap;
    const V r = Where(felt, StepResidual(near * motion.period));
    V sum = xsimd::select(isBehind, -r, r);
    if (motion.reachesOverlap) {
        const V far = xsimd::max(phase, toWrap);
        const V other = Where(far < motion.reach, StepResidual(far * motion.period));
        sum += xsimd::select(isBehind, other, -other);
    }
    return sum;
}

/// B on both sides of the wrap.
template <class V>
V BendAtWrap(V phase, const MotionOf<V>& motion) {
    const V toWrap = V(1.0F) - phase;
    const V near = xsimd::min(phase, toWrap);
    const auto felt = near < motion.reach;
    if (xsimd::none(felt)) {
        return V(0.0F);
    }
    V sum = Where(felt, BendResidual(near * motion.period));
    if (motion.reachesOverlap) {
        const V far = xsimd::max(phase, toWrap);
        sum += Where(far < motion.reach, BendResidual(far * motion.period));
    }
    return sum;
}

/// The phase counted from the falling edge of a pulse: 0 where phase is width. Both are 0 to 1.
template <class V>
V PhaseFromWidth(V phase, V width) {
    return xsimd::select(phase < width, phase + (V(1.0F) - width), phase - width);
}

} // namespace Velmora::dsp::polyblep
