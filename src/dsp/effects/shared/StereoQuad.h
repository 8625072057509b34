// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"
#include "dsp/framework/SilentInputs.h"
#include "dsp/smoothing/SmoothedLanes.h"
#include "dsp/vectors/FrameLanes.h"
#include "dsp/vectors/SilenceFaults.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <type_traits>

namespace Velmora::dsp {

/// Four frames of two channels on their way through an effect.
struct StereoQuad {
    using Float4 = simd::Float4;

    Float4 left;
    Float4 right;

    /// From inputs 0 and 1 at frame n; a fault counts as 0, a channel that is not there as silence.
    static StereoQuad Read(const ProcessContext& context, u32 n) {
        const auto read = [&context, n](u32 channel) {
            const float* input = context.InputOrNull(channel);
            return input != nullptr ? SilenceFaults(input + n) : Float4(0.0F);
        };
        return {read(0), read(1)};
    }

    void Write(const ProcessContext& context, u32 n) const {
        left.store_unaligned(context.outputs[0] + n);
        right.store_unaligned(context.outputs[1] + n);
    }

    /// Both sides with the same gains: of their own, and of the other side.
    StereoQuad Crossed(Float4 direct, Float4 other) const {
        return {direct * left + other * right, direct * right + other * left};
    }
    StereoQuad operator*(Float4 gain) const { return {left * gain, right * gain}; }
    StereoQuad operator+(const StereoQuad& more) const { return {left + more.left, right + more.right}; }

    /// The same frames side by side in double precision, and back.
    FrameQuad<Double2> Frames() const {
        alignas(16) float samples[2][Float4::size];
        left.store_aligned(samples[0]);
        right.store_aligned(samples[1]);
        return PairInput{samples[0], samples[1]}.Load(0);
    }
    static StereoQuad Of(const FrameQuad<Double2>& frames) {
        alignas(16) float samples[2][Float4::size];
        PairOutput{samples[0], samples[1]}.Store(0, frames);
        return {Float4::load_aligned(samples[0]), Float4::load_aligned(samples[1])};
    }

    /// This as the dry sound with a wet one; lanes 0 and 1 are their gains.
    StereoQuad MixedWith(const StereoQuad& wet, const SmoothedLanes& gains) const {
        const Float4 dryGain = gains.Over<true>(0);
        const Float4 wetGain = gains.Over<true>(1);
        return {left * dryGain + wet.left * wetGain, right * dryGain + wet.right * wetGain};
    }
};

/// Gains of a dry and a wet sound at a mix of 0 to 1: equal power, exact at both ends.
struct EqualPower {
    float dry;
    float wet;

    explicit EqualPower(float mix) {
        const float angle = mix * 0.5F * std::numbers::pi_v<float>;
        dry = mix < 1.0F ? std::cos(angle) : 0.0F;
        wet = mix > 0.0F ? std::sin(angle) : 0.0F;
    }
};

/// One block of an effect from inputs 0 and 1 to outputs 0 and 1, four frames at a time.
/// `render(moving, sound)` turns a quad in place; `moving`, a std::bool_constant, tells whether the controls,
/// which step once per quad, are on their way in this block.
template <class Controls, class Render>
void RenderStereoQuads(const ProcessContext& context, Controls& controls, Render render) {
    const auto run = [&](auto moving) {
        for (u32 n = 0; n < context.numFrames; n += simd::Float4::size) {
            StereoQuad sound = StereoQuad::Read(context, n);
            if constexpr (moving.value) {
                controls.Step();
            }
            render(moving, sound);
            sound.Write(context, n);
        }
    };
    if (controls.IsMoving()) {
        run(std::true_type());
    } else {
        run(std::false_type());
    }
}

/// One block of an effect at rest under a silent input: all that would add up are zeros, so that only what
/// swings goes on, which `swing` moves by a number of quads. Delays are stepped again before sound comes out
/// of the lines.
template <class Swing>
void RenderSilence(const ProcessContext& context, Swing swing) {
    constexpr u32 quad = simd::Float4::size;
    swing((context.numFrames + quad - 1) / quad);
    std::fill_n(context.outputs[0], context.numFrames, 0.0F);
    std::fill_n(context.outputs[1], context.numFrames, 0.0F);
}

} // namespace Velmora::dsp
