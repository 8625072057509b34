// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// As VoiceKernelsImpl.h, which includes it.

#include "dsp/vectors/TransposeRows.h"
#include "vocoder/carrier/kernels/VoiceKernels.h"

#include <xsimd/xsimd.hpp>

namespace Velmora::Processor::kernels {

/// The two-pole low-pass of several voices in the lanes of vectors, two of which run at a time: each sample
/// waits for the one before it, but no voice for another.
template <class Arch, class Four>
struct LowPassKernel {
    using V = xsimd::batch<float, Arch>;
    using F = xsimd::batch<float, Four>;
    static constexpr u32 width = LowPassLanes::width;
    static constexpr u32 chunk = 64;

    static void Run(LowPassLanes& lanes, float* const* channels, u32 count, u32 frames) {
        u32 lane = 0;
        if constexpr (V::size > F::size) {
            // Where the last vector would be filled by less than half, four lanes do.
            for (; count > lane + V::size / 2; lane += 2 * V::size) {
                RunWide(lanes, lane, channels, count, frames);
            }
        }
        for (; lane < count; lane += 2 * F::size) {
            RunFours(lanes, lane, channels, count, frames);
        }
    }

private:
    template <class T>
    struct Filter {
        T twiceA1, twiceA2, twiceA3, z1, z2;

        Filter(const LowPassLanes& lanes, u32 lane)
            : twiceA1(T(2.0F) * T::load_aligned(lanes.a1 + lane)),
              twiceA2(T(2.0F) * T::load_aligned(lanes.a2 + lane)),
              twiceA3(T(2.0F) * T::load_aligned(lanes.a3 + lane)), z1(T::load_aligned(lanes.z1 + lane)),
              z2(T::load_aligned(lanes.z2 + lane)) {}

        /// Twice the two voltages, halved off the chain from sample to sample.
        T Tick(T x) {
            const T v3 = x - z2;
            const T twiceV1 = twiceA1 * z1 + twiceA2 * v3;
            const T twiceV2 = (z2 + z2) + twiceA2 * z1 + twiceA3 * v3;
            z1 = twiceV1 - z1;
            z2 = twiceV2 - z2;
            return T(0.5F) * twiceV2;
        }

        void Keep(LowPassLanes& lanes, u32 lane) const {
            z1.store_aligned(lanes.z1 + lane);
            z2.store_aligned(lanes.z2 + lane);
        }
    };

    /// Beyond the last channel the first of all is read, and nothing is written.
    static const float* Source(float* const* channels, u32 lane, u32 count) {
        return channels[lane < count ? lane : 0];
    }

    static void Load(F* x, float* const* channels, u32 lane, u32 count, u32 frame) {
        for (u32 i = 0; i < F::size; ++i) {
            x[i] = F::load_aligned(Source(channels, lane + i, count) + frame);
        }
        dsp::TransposeRows(x[0], x[1], x[2], x[3]);
    }

    static void Store(F* x, float* const* channels, u32 lane, u32 count, u32 frame) {
        dsp::TransposeRows(x[0], x[1], x[2], x[3]);
        for (u32 i = 0; i < F::size && lane + i < count; ++i) {
            x[i].store_aligned(channels[lane + i] + frame);
        }
    }

    /// Up to eight channels.
    static void RunFours(LowPassLanes& lanes, u32 lane, float* const* channels, u32 count, u32 frames) {
        Filter<F> near(lanes, lane);
        if (count <= lane + F::size) {
            F x[4];
            for (u32 n = 0; n < frames; n += 4) {
                Load(x, channels, lane, count, n);
                for (F& sample : x) {
                    sample = near.Tick(sample);
                }
                Store(x, channels, lane, count, n);
            }
        } else {
            Filter<F> far(lanes, lane + F::size);
            F x[4];
            F y[4];
            for (u32 n = 0; n < frames; n += 4) {
                Load(x, channels, lane, count, n);
                Load(y, channels, lane + F::size, count, n);
                for (u32 i = 0; i < 4; ++i) {
                    x[i] = near.Tick(x[i]);
                    y[i] = far.Tick(y[i]);
                }
                Store(x, channels, lane, count, n);
                Store(y, channels, lane + F::size, count, n);
            }
            far.Keep(lanes, lane + F::size);
        }
        near.Keep(lanes, lane);
    }

    /// Up to two vectors of channels, turned over chunk by chunk into rows of one frame.
    static void RunWide(LowPassLanes& lanes, u32 lane, float* const* channels, u32 count, u32 frames) {
        alignas(64) float rows[chunk * width];
        const u32 filled = count - lane < 2 * V::size ? count - lane : 2 * V::size;
        Filter<V> near(lanes, lane);
        Filter<V> far(lanes, lane + V::size);
        for (u32 start = 0; start < frames; start += chunk) {
            const u32 length = frames - start < chunk ? frames - start : chunk;
            for (u32 i = 0; i < filled; i += F::size) {
                Gather(rows + i, channels, lane + i, count, start, length);
            }
            if (filled > V::size) {
                for (float* row = rows; row != rows + length * width; row += width) {
                    near.Tick(V::load_aligned(row)).store_aligned(row);
                    far.Tick(V::load_aligned(row + V::size)).store_aligned(row + V::size);
                }
            } else {
                for (float* row = rows; row != rows + length * width; row += width) {
                    near.Tick(V::load_aligned(row)).store_aligned(row);
                }
            }
            for (u32 i = 0; i < filled; i += F::size) {
                Scatter(rows + i, channels, lane + i, count, start, length);
            }
        }
        near.Keep(lanes, lane);
        if (filled > V::size) {
            far.Keep(lanes, lane + V::size);
        }
    }

    static void Gather(float* rows, float* const* channels, u32 lane, u32 count, u32 start, u32 length) {
        F x[4];
        for (u32 n = 0; n < length; n += 4) {
            Load(x, channels, lane, count, start + n);
            for (u32 i = 0; i < 4; ++i) {
                x[i].store_aligned(rows + (n + i) * width);
            }
        }
    }

    static void Scatter(const float* rows, float* const* channels, u32 lane, u32 count, u32 start,
                        u32 length) {
        F x[4];
        for (u32 n = 0; n < length; n += 4) {
            for (u32 i = 0; i < 4; ++i) {
                x[i] = F::load_aligned(rows + (n + i) * width);
            }
            Store(x, channels, lane, count, start + n);
        }
    }
};

} // namespace Velmora::Processor::kernels
