// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Included by the sources of the instruction sets, as VocoderKernelsImpl.h is; the same rules hold.

#include "vocoder/core/kernels/BandLanes.h"
#include "vocoder/core/kernels/DiscriminatorLanes.h"

#include <xsimd/xsimd.hpp>

namespace Velmora::Processor::kernels {

/// The envelopes of both channels on either side of the corner. Double is an instruction set of at most four
/// doubles, Four one of four floats.
template <class Double, class Four>
struct Discriminator {
    using D = xsimd::batch<double, Double>;
    static constexpr u32 lanes = DiscriminatorLane::Count;
    static constexpr u32 vectors = lanes / D::size;
    static constexpr u32 maxFrames = LaneTile::maxFrames;

    /// One number per lane.
    struct Number {
        D part[vectors];

        static Number Load(const double* at) {
            Number number;
            for (u32 i = 0; i < vectors; ++i) {
                number.part[i] = D::load_aligned(at + i * D::size);
            }
            return number;
        }
        void Store(double* at) const {
            for (u32 i = 0; i < vectors; ++i) {
                part[i].store_aligned(at + i * D::size);
            }
        }
        friend Number operator*(Number a, const Number& b) {
            for (u32 i = 0; i < vectors; ++i) {
                a.part[i] = a.part[i] * b.part[i];
            }
            return a;
        }
        friend Number operator+(Number a, const Number& b) {
            for (u32 i = 0; i < vectors; ++i) {
                a.part[i] = a.part[i] + b.part[i];
            }
            return a;
        }
        friend Number operator-(Number a, const Number& b) {
            for (u32 i = 0; i < vectors; ++i) {
                a.part[i] = a.part[i] - b.part[i];
            }
            return a;
        }
    };

    struct Biquad {
        BiquadQuad& home;
        Number b0 = Number::Load(home.b0), b1 = Number::Load(home.b1), b2 = Number::Load(home.b2);
        Number a1 = Number::Load(home.a1), a2 = Number::Load(home.a2);
        Number x1 = Number::Load(home.x1), x2 = Number::Load(home.x2);
        Number y1 = Number::Load(home.y1), y2 = Number::Load(home.y2);

        Number Tick(const Number& x) {
            const Number y = ((b0 * x + b1 * x1 + b2 * x2) - a2 * y2) - a1 * y1;
            x2 = x1;
            x1 = x;
            y2 = y1;
            y1 = y;
            return y;
        }
        void Finish() const {
            x1.Store(home.x1);
            x2.Store(home.x2);
            y1.Store(home.y1);
            y2.Store(home.y2);
        }
    };

    struct FirstOrder {
        FirstOrderQuad& home;
        Number b0 = Number::Load(home.b0), b1 = Number::Load(home.b1), a1 = Number::Load(home.a1);
        Number x1 = Number::Load(home.x1), y1 = Number::Load(home.y1);

        Number Tick(const Number& x) {
            const Number y = (b0 * x + b1 * x1) - a1 * y1;
            x1 = x;
            y1 = y;
            return y;
        }
        void Finish() const {
            x1.Store(home.x1);
            y1.Store(home.y1);
        }
    };

    /// Rows of left, right, left, right.
    static void Spread(const float* left, const float* right, float* rows, u32 frames) {
        using F = xsimd::batch<float, Four>;
        using Pairs = xsimd::batch<double, Four>;
        for (u32 n = 0; n < frames; n += 4, rows += 4 * lanes) {
            const F l = F::load_unaligned(left + n);
            const F r = F::load_unaligned(right + n);
            const auto first = xsimd::bitwise_cast<Pairs>(xsimd::zip_lo(l, r));
            const auto second = xsimd::bitwise_cast<Pairs>(xsimd::zip_hi(l, r));
            xsimd::bitwise_cast<F>(Pairs(xsimd::zip_lo(first, first))).store_aligned(rows);
            xsimd::bitwise_cast<F>(Pairs(xsimd::zip_hi(first, first))).store_aligned(rows + lanes);
            xsimd::bitwise_cast<F>(Pairs(xsimd::zip_lo(second, second))).store_aligned(rows + 2 * lanes);
            xsimd::bitwise_cast<F>(Pairs(xsimd::zip_hi(second, second))).store_aligned(rows + 3 * lanes);
        }
    }

    static void Split(DiscriminatorLanes& all, const float* rows, double* numbers, u32 frames) {
        for (u32 i = 0; i < frames * lanes; ++i) {
            numbers[i] = static_cast<double>(rows[i]);
        }
        Biquad crossover{all.crossover};
        const Number gain = Number::Load(all.bandGain);
        for (u32 n = 0; n < frames; ++n) {
            double* at = numbers + n * lanes;
            (crossover.Tick(Number::Load(at)) * gain).Store(at);
        }
        crossover.Finish();
    }

    /// In single precision: it has no memory.
    static void Rectify(const DiscriminatorLanes& all, double* numbers, u32 frames) {
        for (u32 i = 0; i < frames * lanes; ++i) {
            const auto x = static_cast<float>(numbers[i]);
            const float gain = x <= 0.0F ? all.gainNegative : all.gainPositive;
            numbers[i] = static_cast<double>(x * gain * all.currentToVoltage);
        }
    }

    static void Smooth(DiscriminatorLanes& all, double* numbers, float* rows, u32 frames) {
        FirstOrder onePole{all.onePole};
        Biquad smoother{all.smoother};
        for (u32 n = 0; n < frames; ++n) {
            double* at = numbers + n * lanes;
            smoother.Tick(onePole.Tick(Number::Load(at))).Store(at);
        }
        onePole.Finish();
        smoother.Finish();
        for (u32 i = 0; i < frames * lanes; ++i) {
            rows[i] = static_cast<float>(numbers[i]);
        }
    }

    static void Run(DiscriminatorLanes& all, const float* left, const float* right, float* rows, u32 frames) {
        alignas(64) double numbers[maxFrames * lanes];
        Spread(left, right, rows, frames);
        Split(all, rows, numbers, frames);
        Rectify(all, numbers, frames);
        Smooth(all, numbers, rows, frames);
    }
};

} // namespace Velmora::Processor::kernels
