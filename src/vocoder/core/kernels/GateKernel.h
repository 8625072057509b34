// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// As VocoderKernelsImpl.h, which includes it.

#include "vocoder/core/kernels/VocoderKernels.h"

#include <xsimd/xsimd.hpp>

namespace Velmora::Processor::kernels {

/// Calls step(n, vector) for the frames of a block, a multiple of 4: vectors as wide as they come, then a
/// rest of less than one in groups of four. The vector is passed for its type.
template <class Arch, class Four, class Step>
void ForEachVector(u32 frames, Step step) {
    using Wide = xsimd::batch<float, Arch>;
    using Narrow = xsimd::batch<float, Four>;
    u32 n = 0;
    for (; n + Wide::size <= frames; n += Wide::size) {
        step(n, Wide{});
    }
    for (; n + Narrow::size <= frames; n += Narrow::size) {
        step(n, Narrow{});
    }
}

/// The amplifier of a gate: a soft limiter, an odd curve close to the hyperbolic tangent in three pieces.
template <class Arch, class Four>
struct GateAmplifier {
    static void Run(const GatePins& pins, u32 frames) {
        if (IsLoud(pins, frames)) {
            Multiply(pins, frames, [](auto v) { return Shape(v); });
        } else {
            Multiply(pins, frames, [](auto v) { return ShapeQuiet(v); });
        }
    }

private:
    template <class V>
    static V Shape(V v) {
        const V m = xsimd::abs(v);
        const V low = Low(m);
        const V middle = ((m * V(0.08575832F) - V(0.5605742F)) * m + V(1.2838478F)) * m - V(0.04743774F);
        const V high = (m - V(1.5091578F)) / (m - V(1.4908422F));
        const V upper = xsimd::select(m > V(2.0F), high, middle);
        return xsimd::copysign(xsimd::select(m > V(1.0F), upper, low), v);
    }

    /// While no magnitude passes 1.
    template <class V>
    static V ShapeQuiet(V v) {
        return xsimd::copysign(Low(xsimd::abs(v)), v);
    }

    template <class V>
    static V Low(V m) {
        return m - (m * V(0.10321397F) + V(0.13519187F)) * m * m;
    }

    static bool IsLoud(const GatePins& pins, u32 frames) {
        bool loud = false;
        ForEachVector<Arch, Four>(frames, [&]<class V>(u32 n, V) {
            loud =
                xsimd::any(xsimd::abs(V(pins.drive) * V::load_unaligned(pins.signal + n)) > V(1.0F)) || loud;
        });
        return loud;
    }

    template <class Curve>
    static void Multiply(const GatePins& pins, u32 frames, Curve curve) {
        if (pins.factors != nullptr) {
            ForEachVector<Arch, Four>(frames, [&]<class V>(u32 n, V) {
                Step(pins, n, curve, V::load_unaligned(pins.factors + n));
            });
        } else {
            ForEachVector<Arch, Four>(frames,
                                      [&]<class V>(u32 n, V) { Step(pins, n, curve, V(pins.factor)); });
        }
    }

    template <class Curve, class V>
    static void Step(const GatePins& pins, u32 n, Curve curve, V factor) {
        const V shaped = curve(V(pins.drive) * V::load_unaligned(pins.signal + n));
        (shaped * factor * V(pins.postGain)).store_unaligned(pins.out + n);
    }
};

/// The buses of the synthesis amplifiers: a rational approximation of the hyperbolic tangent.
template <class Arch, class Four>
struct BusSaturation {
    static void Run(const float* bus, float drive, float scale, float* out, u32 frames) {
        ForEachVector<Arch, Four>(frames, [=]<class V>(u32 n, V) {
            const V v = V::load_unaligned(bus + n) * V(drive);
            const V square = v * v;
            const V f = (square + V(27.0F)) * v / (square * V(9.0F) + V(27.0F));
            (xsimd::min(xsimd::max(f, V(-1.0F)), V(1.0F)) * V(scale)).store_unaligned(out + n);
        });
    }
};

} // namespace Velmora::Processor::kernels
