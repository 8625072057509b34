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

/// R: -1 at 0, about 0 at the end of its reach. T is float or Float4.
template <class T>
inline T StepResidual(T x) {
    T y = T(-0.00043589083F) * x - T(0.0577479F);
    y = y * x + T(0.37992996F);
    y = y * x - T(0.7522737F);
    y = y * x + T(0.082739435F);
    y = y * x + T(1.2420912F);
    return y * x - T(1.0F);
}

/// B: the integral of R that is about 0 at the end of its reach. T is float or Float4.
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

inline Float4 Where(Mask4 mask, Float4 x) { return xsimd::select(mask, x, Float4(0.0F)); }

/// The residuals, 0 out of reach. What is not a number is out of reach.
inline Float4 StepWithinReach(Float4 x) { return Where(x < Float4(kernelReach), StepResidual(x)); }
inline Float4 BendWithinReach(Float4 x) { return Where(x < Float4(kernelReach), BendResidual(x)); }

/// How fast the phase runs.
struct Motion {
    Float4 increment;
    /// The size of the increment, the phase covered within the kernel's reach, and samples per cycle.
    Float4 speed;
    Float4 reach;
    Float4 period;
    /// Above a quarter of the rate both sides of a wrap reach some frames.
    bool reachesOverlap;

    explicit Motion(Float4 i)
        : increment(i), speed(xsimd::abs(i)), reach(speed * Float4(kernelReach)),
          // At a standstill nothing is in reach; the floor only keeps the quotient finite.
          period(Float4(1.0F) / xsimd::max(speed, Float4(1e-30F))),
          reachesOverlap(xsimd::any(reach > Float4(0.5F))) {}
};

/// The step correction for a fall by 2 where the phase wraps upwards: +R ahead of the wrap, -R behind. The
/// same holds for the rise by 2 of a phase that runs down: both the height and the sides are exchanged.
inline Float4 StepAtWrap(Float4 phase, const Motion& motion) {
    const Float4 toWrap = Float4(1.0F) - phase;
    const Float4 near = xsimd::min(phase, toWrap);
    const Mask4 felt = near < motion.reach;
    if (xsimd::none(felt)) {
        return Float4(0.0F);
    }
    const Mask4 isBehind = phase < toWrap;
    const Float4 r = Where(felt, StepResidual(near * motion.period));
    Float4 sum = xsimd::select(isBehind, -r, r);
    if (motion.reachesOverlap) {
        const Float4 far = xsimd::max(phase, toWrap);
        const Float4 other = Where(far < motion.reach, StepResidual(far * motion.period));
        sum += xsimd::select(isBehind, other, -other);
    }
    return sum;
}

/// B on both sides of the wrap.
inline Float4 BendAtWrap(Float4 phase, const Motion& motion) {
    const Float4 toWrap = Float4(1.0F) - phase;
    const Float4 near = xsimd::min(phase, toWrap);
    const Mask4 felt = near < motion.reach;
    if (xsimd::none(felt)) {
        return Float4(0.0F);
    }
    Float4 sum = Where(felt, BendResidual(near * motion.period));
    if (motion.reachesOverlap) {
        const Float4 far = xsimd::max(phase, toWrap);
        sum += Where(far < motion.reach, BendResidual(far * motion.period));
    }
    return sum;
}

/// The phase counted from the falling edge of a pulse: 0 where phase is width. Both are 0 to 1.
inline Float4 PhaseFromWidth(Float4 phase, Float4 width) {
    return xsimd::select(phase < width, phase + (Float4(1.0F) - width), phase - width);
}

} // namespace Velmora::dsp::polyblep
