// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Included by one source per instruction set. Everything here is a template over the instruction set and
// calls nothing inline that is not: the linker must not be able to pick a wide copy of a shared function for
// a processor without it.

#include "dsp/math/QuarterTurnSine.h"
#include "dsp/oscillators/PolyBlepKernels.h"
#include "dsp/oscillators/PostFilterTaps.h"
#include "vocoder/carrier/kernels/FrameHistory.h"
#include "vocoder/carrier/kernels/LowPassKernel.h"
#include "vocoder/carrier/kernels/SteadyLanes.h"
#include "vocoder/carrier/kernels/VoiceKernels.h"

#include <xsimd/xsimd.hpp>

namespace Velmora::Processor::kernels {

/// What has no recursion: the frames of one voice side by side.
template <class Arch, class Four>
struct VoiceFrames {
    using V = xsimd::batch<float, Arch>;
    using F = xsimd::batch<float, Four>;
    using Words = xsimd::batch<i32, Arch>;
    static constexpr u32 past = dsp::postFilterPast;
    static constexpr u32 chunk = 64;
    /// Four lanes are better read across than shifted.
    static constexpr bool isWide = V::size > 4;

    static void RenderSaw(const dsp::SteadyPhase& phase, float* history, float* out, u32 frames) {
        const dsp::polyblep::MotionOf<V> motion{V(phase.increment)};
        if constexpr (isWide) {
            SteadyLanes<V> run(phase);
            FilterVectors(history, out, frames, [&](u32 /*frame*/) { return -Saw(run.Next(), motion); });
        } else {
            u64 at = phase.start;
            FilterChunks(history, out, frames, [&](u32 /*offset*/, float* line, u32 length) {
                SawChunk(at, phase.step, motion, line, length);
                at += phase.step * length;
            });
        }
    }

    static void PostFilter(float* history, float* samples, u32 frames) {
        if constexpr (isWide) {
            FilterVectors(history, samples, frames,
                          [samples](u32 n) { return V::load_unaligned(samples + n); });
        } else {
            FilterChunks(history, samples, frames, [samples](u32 offset, float* line, u32 length) {
                for (u32 n = 0; n < length; n += V::size) {
                    V::load_unaligned(samples + offset + n).store_unaligned(line + n);
                }
            });
        }
    }

    static void Drive(float* samples, float gain, u32 frames) {
        const Driven driven(gain);
        for (u32 n = 0; n < frames; n += V::size) {
            driven(V::load_unaligned(samples + n)).store_unaligned(samples + n);
        }
    }

    static void Add(const float* samples, float level, float envelope, float* out, u32 frames) {
        const V a(level);
        const V b(envelope);
        AddFrames(out, frames, [&](u32 n) { return V::load_unaligned(samples + n) * a * b; });
    }

    static void AddDriven(const float* samples, float gain, float level, float envelope, float* out,
                          u32 frames) {
        const Driven driven(gain);
        const V a(level);
        const V b(envelope);
        AddFrames(out, frames, [&](u32 n) { return driven(V::load_unaligned(samples + n)) * a * b; });
    }

    static void DriveMoving(float* samples, const float* gains, u32 frames) {
        const V one(1.0F);
        for (u32 n = 0; n < frames; n += V::size) {
            const V g = V::load_unaligned(gains + n);
            const V y = V::load_unaligned(samples + n);
            const V height = xsimd::select(g >= one, one, one / dsp::QuarterTurnSine(g));
            (dsp::QuarterTurnSine(g * y) * height).store_unaligned(samples + n);
        }
    }

private:
    struct Driven {
        V gain;
        V height;

        explicit Driven(float g)
            : gain(g), height(g >= 1.0F ? V(1.0F) : V(1.0F) / dsp::QuarterTurnSine(V(g))) {}

        V operator()(V y) const { return dsp::QuarterTurnSine(gain * y) * height; }
    };

    /// Adds soundAt(n), the vector of the frames from n on.
    template <class SoundAt>
    static void AddFrames(float* out, u32 frames, SoundAt soundAt) {
        u32 n = 0;
        for (; n + V::size <= frames; n += V::size) {
            (V::load_unaligned(out + n) + soundAt(n)).store_unaligned(out + n);
        }
        if (n < frames) {
            alignas(64) float rest[V::size];
            soundAt(n).store_aligned(rest);
            for (const float* x = rest; n < frames; n += F::size, x += F::size) {
                (F::load_unaligned(out + n) + F::load_aligned(x)).store_unaligned(out + n);
            }
        }
    }

    /// Filters the vectors that inputAt(n) gives from frame n on.
    template <class InputAt>
    static void FilterVectors(float* history, float* out, u32 frames, InputAt inputAt) {
        FrameHistory<V> line(history);
        u32 n = 0;
        for (; n < frames; n += V::size) {
            line.Filter(inputAt(n)).store_unaligned(out + n);
        }
        line.Keep(history, n - frames);
    }

    /// Fills a line chunk by chunk with fill(offset, line, length), which may write whole vectors, and
    /// filters it into out.
    template <class Fill>
    static void FilterChunks(float* history, float* out, u32 frames, Fill fill) {
        alignas(64) float line[past + chunk];
        for (u32 i = 0; i < past; ++i) {
            line[i] = history[i];
        }
        for (u32 start = 0; start < frames; start += chunk) {
            const u32 length = frames - start < chunk ? frames - start : chunk;
            fill(start, line + past, length);
            for (u32 n = 0; n < length; n += V::size) {
                dsp::PostFiltered<V>(line + n).store_unaligned(out + start + n);
            }
            for (u32 i = 0; i < past; ++i) {
                line[i] = line[length + i];
            }
        }
        for (u32 i = 0; i < past; ++i) {
            history[i] = line[i];
        }
    }

    static V Saw(Words phase, const dsp::polyblep::MotionOf<V>& motion) {
        // As PolyBlepPhaseGen makes a number of its phase.
        const V below1(0x1.fffffep-1F);
        const V p = xsimd::min(xsimd::batch_cast<float>(phase) * V(0x1p-31F), below1);
        return V(2.0F) * p - V(1.0F) + dsp::polyblep::StepAtWrap(p, motion);
    }

    static void SawChunk(u64 phase, u64 step, const dsp::polyblep::MotionOf<V>& motion, float* out,
                         u32 length) {
        alignas(64) i32 words[chunk];
        constexpr auto lanes = static_cast<u32>(V::size);
        const u32 padded = (length + lanes - 1) / lanes * lanes;
        for (u32 n = 0; n < padded; ++n) {
            phase += step;
            words[n] = static_cast<i32>(phase >> 33U);
        }
        for (u32 n = 0; n < padded; n += V::size) {
            (-Saw(Words::load_aligned(words + n), motion)).store_unaligned(out + n);
        }
    }
};

/// Four is a four-lane instruction set that no other source instantiates.
template <class Arch, class Four>
constexpr VoiceKernels MakeVoiceKernels(const char* name) {
    return {name,
            &VoiceFrames<Arch, Four>::RenderSaw,
            &VoiceFrames<Arch, Four>::PostFilter,
            &LowPassKernel<Arch, Four>::Run,
            &VoiceFrames<Arch, Four>::Drive,
            &VoiceFrames<Arch, Four>::DriveMoving,
            &VoiceFrames<Arch, Four>::Add,
            &VoiceFrames<Arch, Four>::AddDriven};
}

} // namespace Velmora::Processor::kernels
