// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/equaliser/ParamEqBand.h"

#include "dsp/math/Within.h"
#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

using simd::Float4;

/// Works on numbers and on lanes of them with the same bits.
template <class T>
T LoopGainOf(T damping, T integrator) {
    return T(1.0F) / (T(2.0F) * damping * integrator + T(1.0F) + integrator * integrator);
}

/// A shelf's corner stays where the gain is half its extreme.
float IntegratorScale(const ParamEqShape& shape) {
    switch (shape.mode) {
    case ParamEqShape::LowShelf:
        return 1.0F / std::sqrt(shape.gain);
    case ParamEqShape::HighShelf:
        return std::sqrt(shape.gain);
    default:
        return 1.0F;
    }
}

} // namespace

void ParamEqBand::Allocate(u32 maxBlockSize) {
    bufferLength = RoundUpToFour(maxBlockSize);
    ramps.Allocate(ValueCount, bufferLength);
    isFlat.fill(false);
    Arrive();
}

void ParamEqBand::Clear() {
    state1.fill(0.0);
    state2.fill(0.0);
}

void ParamEqBand::Update(const ParamEqShape& next, u32 numFrames) {
    if (next.mode != shape.mode) {
        Clear();
        Arrive();
    }
    if (jumps || next != shape) {
        if (jumps || next.frequency != shape.frequency) {
            tangent = std::tan(3.1415927F * next.frequency);
        }
        shape = next;
        SetCurrent();
    }
    if (jumps) {
        previous = current;
        jumps = false;
    }
    isMoving = previous != current;
    if (isMoving) {
        RenderRamps(numFrames);
    }
}

void ParamEqBand::SetCurrent() {
    const std::array<float, ValueCount> last = current;
    const float damping = shape.inverseQ * 0.5F;
    current[Damping] = shape.mode == ParamEqShape::Bell ? damping / shape.gain : damping;
    current[Integrator] = tangent * IntegratorScale(shape);
    current[LoopGain] = LoopGainOf(current[Damping], current[Integrator]);
    SetMix();
    for (u32 value = 0; value < ValueCount; ++value) {
        isFlat[value] = isFlat[value] && current[value] == last[value];
    }
}

void ParamEqBand::SetMix() {
    const float gain = shape.gain;
    const auto set = [this](float low, float band, float high) {
        current[LowMix] = low;
        current[BandMix] = band;
        current[HighMix] = high;
    };
    switch (shape.mode) {
    case ParamEqShape::LowPass:
        return set(1.0F, 0.0F, 0.0F);
    case ParamEqShape::BandPass:
        return set(0.0F, 1.0F, 0.0F);
    case ParamEqShape::HighPass:
        return set(0.0F, 0.0F, 1.0F);
    case ParamEqShape::LowShelf:
        return set(gain * gain, gain * shape.inverseQ, 1.0F);
    case ParamEqShape::Bell:
        return set(1.0F, gain * shape.inverseQ, 1.0F);
    default:
        return set(1.0F, gain * shape.inverseQ, gain * gain);
    }
}

void ParamEqBand::RenderRamps(u32 numFrames) {
    for (u32 value = 0; value < rampedCount; ++value) {
        RenderRamp(value, numFrames);
    }
    RenderLoopGain(numFrames);
}

void ParamEqBand::RenderRamp(u32 value, u32 numFrames) {
    if (previous[value] == current[value]) {
        Fill(value);
        return;
    }
    isFlat[value] = false;
    const Float4 start(previous[value]);
    const Float4 slope((current[value] - previous[value]) / static_cast<float>(numFrames));
    Float4 index{0.0F, 1.0F, 2.0F, 3.0F};
    float* out = ramps[value];
    for (u32 n = 0; n < numFrames; n += 4) {
        (start + index * slope).store_aligned(out + n);
        index += 4.0F;
    }
}

void ParamEqBand::RenderLoopGain(u32 numFrames) {
    if (previous[Damping] == current[Damping] && previous[Integrator] == current[Integrator]) {
        Fill(LoopGain);
        return;
    }
    isFlat[LoopGain] = false;
    const float* damping = ramps[Damping];
    const float* integrator = ramps[Integrator];
    float* out = ramps[LoopGain];
    for (u32 n = 0; n < numFrames; n += 4) {
        LoopGainOf(Float4::load_aligned(damping + n), Float4::load_aligned(integrator + n))
            .store_aligned(out + n);
    }
}

/// Over the whole buffer: a later block may be longer.
void ParamEqBand::Fill(u32 value) {
    if (!isFlat[value]) {
        std::fill_n(ramps[value], bufferLength, current[value]);
        isFlat[value] = true;
    }
}

void ParamEqBand::FinishBlock() {
    if (isMoving) {
        previous = current;
    }
    const bool isSound = std::all_of(state1.begin(), state1.end(), IsIntact) &&
                         std::all_of(state2.begin(), state2.end(), IsIntact);
    if (!isSound) {
        Clear();
    }
}

} // namespace Velmora::dsp
