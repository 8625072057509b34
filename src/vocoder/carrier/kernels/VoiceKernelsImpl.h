// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Included by one source per instruction set. Everything here is a template over the instruction set and
// calls nothing inline that is not: the linker must not be able to pick a wide copy of a shared function for
// a processor without it.

#include "dsp/math/QuarterTurnSine.h"
#include "dsp/oscillators/PolyBlepKernels.h"
#include "dsp/oscillators/PostFilterTaps.h"
#include "vocoder/carrier/kernels/LowPassKernel.h"
#include "vocoder/carrier/kernels/VoiceKernels.h"

#include <xsimd/xsimd.hpp>

namespace Velmora::Processor::kernels {

/// What has no recursion: the frames of one voice side by side.
template <class Arch>
struct VoiceFrames {
    using V = xsimd::batch<float, Arch>;
    using Words = xsimd::batch<i32, Arch>;
    static constexpr u32 past = dsp::postFilterPast;
    static constexpr u32 chunk = 64;

    static void RenderSaw(const dsp::SteadyPhase& phase, float* history, float* out, u32 frames) {
        const dsp::polyblep::MotionOf<V> motion{V(phase.increment)};
        u64 at = phase.start;
        FilterChunks(history, out, frames, [&](u32 /*offset*/, float* line, u32 length) {
            SawChunk(at, phase.step, motion, line, length);
            at += phase.step * length;
        });
    }

    static void PostFilter(float* history, float* samples, u32 frames) {
        FilterChunks(history, samples, frames, [samples](u32 offset, float* line, u32 length) {
            for (u32 n = 0; n < length; n += V::size) {
                V::load_unaligned(samples + offset + n).store_unaligned(line + n);
            }
        });
    }

    static void Drive(float* samples, float gain, u32 frames) {
        const V g(gain);
        const V height = gain >= 1.0F ? V(1.0F) : V(1.0F) / dsp::QuarterTurnSine(g);
        for (u32 n = 0; n < frames; n += V::size) {
            const V y = V::load_unaligned(samples + n);
            (dsp::QuarterTurnSine(g * y) * height).store_unaligned(samples + n);
        }
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

    static void SawChunk(u64 phase, u64 step, const dsp::polyblep::MotionOf<V>& motion, float* out,
                         u32 length) {
        // As PolyBlepPhaseGen makes a number of its phase.
        const V below1(0x1.fffffep-1F);
        alignas(64) i32 words[chunk];
        constexpr auto lanes = static_cast<u32>(V::size);
        const u32 padded = (length + lanes - 1) / lanes * lanes;
        for (u32 n = 0; n < padded; ++n) {
            phase += step;
            words[n] = static_cast<i32>(phase >> 33U);
        }
        for (u32 n = 0; n < padded; n += V::size) {
            const V p =
                xsimd::min(xsimd::batch_cast<float>(Words::load_aligned(words + n)) * V(0x1p-31F), below1);
            const V y = V(2.0F) * p - V(1.0F) + dsp::polyblep::StepAtWrap(p, motion);
            (-y).store_unaligned(out + n);
        }
    }
};

/// Four is a four-lane instruction set that no other source instantiates.
template <class Arch, class Four>
constexpr VoiceKernels MakeVoiceKernels(const char* name) {
    return {name,
            &VoiceFrames<Arch>::RenderSaw,
            &VoiceFrames<Arch>::PostFilter,
            &LowPassKernel<Arch, Four>::Run,
            &VoiceFrames<Arch>::Drive,
            &VoiceFrames<Arch>::DriveMoving};
}

} // namespace Velmora::Processor::kernels
