// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/bitcrusher/SampleHold.h"

#include "dsp/math/Xorshift.h"

#include <algorithm>

namespace Velmora::dsp {

namespace {

/// The same for all channels, so that their clocks run together.
constexpr u32 clockSeed = 0x2545F491U;
constexpr float lastBeforeOne = 0x1.FFFFFEp-1F;

} // namespace

SampleHold::SampleHold() : table(SharedBandLimitedStep()) {}

void SampleHold::Reset() {
    past.fill(0.0F);
    random = clockSeed;
    phase = 0.0F;
    pace = 1.0F;
    Rest();
}

void SampleHold::Rest() {
    residual.fill(0.0F);
    plain = {};
    held = heldError = step = 0.0F;
}

void SampleHold::Push(Float4 frames) {
    for (u32 k = 0; k < width; k += Float4::size) {
        Float4::load_aligned(&past[k + Float4::size]).store_aligned(&past[k]);
    }
    frames.store_aligned(&past[width]);
}

SampleHold::Output SampleHold::Hold(const HoldMotion& motion, Quantiser& quantiser) {
    alignas(16) float sound[Float4::size];
    alignas(16) float errors[Float4::size];
    for (u32 frame = 0; frame < Float4::size; ++frame) {
        const float advance = std::min(motion.rate * pace, 1.0F);
        phase += advance;
        if (phase >= 1.0F) {
            phase -= 1.0F;
            Sample(frame, std::min(phase / advance, lastBeforeOne), motion, quantiser);
        }
        sound[frame] = held - motion.slope * step * (1.0F - phase);
        errors[frame] = heldError;
    }
    Output late = plain[0];
    plain[0] = plain[1];
    plain[1] = {Float4::load_aligned(sound), Float4::load_aligned(errors)};
    late.sound += Float4::load_aligned(residual.data());
    for (u32 k = 0; k < width; k += Float4::size) {
        Float4::load_aligned(&residual[k + Float4::size]).store_aligned(&residual[k]);
    }
    Float4(0.0F).store_aligned(&residual[width]);
    return late;
}

/// An event `late` of a frame before the given one of the quad.
void SampleHold::Sample(u32 frame, float late, const HoldMotion& motion, Quantiser& quantiser) {
    const BandLimitedStep::Row kernel = table.Kernel(late);
    Float4 sum(0.0F);
    for (u32 k = 0; k < kernel.size(); ++k) {
        sum += kernel[k] * Float4::load_unaligned(&past[frame + k * Float4::size]);
    }
    const float sample = xsimd::hadd(sum);
    const float converted = quantiser.Convert(sample);
    heldError = converted - sample;
    step = converted - held;
    held = converted;
    pace = NextPace(motion.jitter);
    const Float4 jump((1.0F - motion.slope) * step);
    const BandLimitedStep::Row row = table.Residual(late);
    for (u32 k = 0; k < row.size(); ++k) {
        float* at = &residual[frame + k * Float4::size];
        (Float4::load_unaligned(at) + row[k] * jump).store_unaligned(at);
    }
}

/// Lengths of holds have their mean where they would be without jitter.
float SampleHold::NextPace(float jitter) {
    constexpr float shortest = 0.05F;
    random = Xorshift::Next(random);
    const float either = static_cast<float>(random >> 8) * 0x1p-23F - 1.0F;
    return 1.0F / std::max(1.0F + jitter * either, shortest);
}

} // namespace Velmora::dsp
