// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/VoiceOscillator.h"

#include "dsp/ClampToUnit.h"
#include "dsp/CornerLimit.h"
#include "dsp/Decibels.h"
#include "dsp/QuarterTurnSine.h"
#include "dsp/RunChild.h"
#include "dsp/Simd.h"
#include "vocoder/VoiceFrequency.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmora::Processor {

namespace {

using dsp::QuarterTurnSine;
using dsp::simd::Float4;

constexpr u32 onId = 0;
constexpr i32 exponentialId = 4;
constexpr float unknown = std::numeric_limits<float>::quiet_NaN();

} // namespace

VoiceOscillator::VoiceOscillator()
    : driveCurve(dsp::ModuleParam::Mapped({}, exponentialId, -12.0F, 24.0F, -6.0F)), lastLevel(unknown),
      lastShape(unknown) {
    phaseGen.SetParameterNormalized(onId, 1.0F);
    triangle.SetParameterNormalized(onId, 1.0F);
    saw.SetParameterNormalized(onId, 1.0F);
    square.SetParameterNormalized(onId, 1.0F);
    postFilter.SetParameterNormalized(onId, 1.0F);
    triangle.SetParameterNormalized(dsp::PolyBlepTriangleBase<1>::aaOn, 1.0F);
    saw.SetParameterNormalized(dsp::PolyBlepSawBase<1>::aaOn, 1.0F);
    square.SetParameterNormalized(dsp::PolyBlepSquareBase<1>::aaOn, 1.0F);
    triangle.SetParameterNormalized(dsp::PolyBlepTriangleBase<1>::pulseWidth, 0.5F);
    square.SetParameterNormalized(dsp::PolyBlepSquareBase<1>::pulseWidth, 0.5F);
    phaseGen.FindParameter(PhaseGen::frequency)
        ->Redeclare(1, lowestVoiceFrequency, highestVoiceFrequency, 1.0F, 0.5F, false);
    noise.SetParameterValue(dsp::NoiseGenerator::noiseType, dsp::NoiseGenerator::Morph);
}

void VoiceOscillator::Initialize(float rate, u32 maxBlockSize) {
    sampleRate = rate;
    phaseGen.Initialize(rate, maxBlockSize);
    triangle.Initialize(rate, maxBlockSize);
    saw.Initialize(rate, maxBlockSize);
    square.Initialize(rate, maxBlockSize);
    postFilter.Initialize(rate, maxBlockSize);
    noise.Initialize(rate, maxBlockSize);
    level.Prepare(rate, 1);
    driveGain.Prepare(rate, 1);
    cutoff = -1.0F;
    lastShape = unknown;
}

void VoiceOscillator::Reset(bool hard) {
    phaseGen.Reset(hard);
    triangle.Reset(hard);
    saw.Reset(hard);
    square.Reset(hard);
    postFilter.Reset(hard);
    noise.Reset(hard);
    s1 = 0.0F;
    s2 = 0.0F;
}

void VoiceOscillator::SetWaveform(i32 number) {
    if (number == waveform) {
        return;
    }
    waveform = number;
    // The shape that begins knows no reset of sync: the last one that it saw is long past.
    triangle.OnReset(false);
    saw.OnReset(false);
    square.OnReset(false);
}

void VoiceOscillator::SetLevel(float decibels) {
    if (decibels == lastLevel) {
        return;
    }
    lastLevel = decibels;
    const float gain = dsp::DecibelsToGain(decibels);
    // A smoother never comes back from infinity.
    if (std::isfinite(gain)) {
        level.SetTarget(gain);
    }
}

void VoiceOscillator::SetShape(float position) {
    const float shape = dsp::ClampToUnit(position);
    if (shape == lastShape) {
        return;
    }
    lastShape = shape;
    square.SetParameterNormalized(dsp::PolyBlepSquareBase<1>::pulseWidth, shape * 0.47500002F + 0.5F);
    noise.SetParameterNormalized(dsp::NoiseGenerator::noiseColor, shape);
    SetCutoff(20000.0F - shape * 19800.0F);
    driveGain.SetTarget(dsp::DecibelsToGain(driveCurve.ToValue(shape)));
}

void VoiceOscillator::SetCutoff(float hz) {
    if (hz == cutoff) {
        return;
    }
    cutoff = hz;
    constexpr double pi = 3.14159265358979323846;
    const double rate = sampleRate;
    const auto g = static_cast<float>(std::tan(pi * dsp::LimitCorner(hz, rate) / rate));
    a1 = 1.0F / ((g + 1.4142135F) * g + 1.0F);
    a2 = a1 * g;
    a3 = a2 * g;
}

void VoiceOscillator::SetSyncMaster(bool on) {
    phaseGen.SetParameterNormalized(PhaseGen::hsMaster, on ? 1.0F : 0.0F);
}

void VoiceOscillator::SetSyncSlave(bool on) {
    const float position = on ? 1.0F : 0.0F;
    phaseGen.SetParameterNormalized(PhaseGen::hsSlave, position);
    square.SetParameterNormalized(dsp::PolyBlepSquareBase<1>::hsSlave, position);
    saw.SetParameterNormalized(dsp::PolyBlepSawBase<1>::hsSlave, position);
    triangle.SetParameterNormalized(dsp::PolyBlepTriangleBase<1>::hsSlave, position);
}

void VoiceOscillator::SetFM(bool on) {
    const float position = on ? 1.0F : 0.0F;
    phaseGen.SetParameterNormalized(PhaseGen::fmOn, position);
    square.SetParameterNormalized(dsp::PolyBlepSquareBase<1>::fmOn, position);
    saw.SetParameterNormalized(dsp::PolyBlepSawBase<1>::fmOn, position);
    triangle.SetParameterNormalized(dsp::PolyBlepTriangleBase<1>::fmOn, position);
}

void VoiceOscillator::SetStartPhase(float normalized) {
    phaseGen.SetParameterNormalized(PhaseGen::phase0, normalized);
}

void VoiceOscillator::JumpToTargets() {
    level.Set(static_cast<float>(level.target));
    driveGain.Set(static_cast<float>(driveGain.target));
}

void VoiceOscillator::Render(const dsp::ProcessContext& context, float frequency,
                             const VoiceBuffers& buffers) {
    phaseGen.SetParameterValue(PhaseGen::frequency, LimitVoiceFrequency(frequency));
    RunPhase(context, buffers);
    RunWaveform(context, buffers);
    const u32 frames = context.numFrames;
    if (waveform == Saw) {
        for (u32 n = 0; n < frames; ++n) {
            buffers.out[n] = -buffers.out[n];
        }
    }
    if (waveform != Noise) {
        RunPostFilter(context, buffers);
    }
    if (waveform == Saw) {
        FilterSaw(buffers.out, frames);
    }
    if (waveform == Triangle || waveform == Saw) {
        Drive(buffers, frames);
    }
}

void VoiceOscillator::RunPhase(const dsp::ProcessContext& context, const VoiceBuffers& buffers) {
    const float* inputs[] = {buffers.wrapFlag, buffers.samplesToWrap, buffers.samplesSinceWrap,
                             buffers.frequencyModulation};
    float* outputs[] = {buffers.phase, buffers.increment, buffers.wrapFlag, buffers.samplesToWrap,
                        buffers.samplesSinceWrap};
    dsp::ProcessContext child = context.ForChild(inputs, 4, outputs, 5);
    dsp::RunChild(phaseGen, child);
}

void VoiceOscillator::RunWaveform(const dsp::ProcessContext& context, const VoiceBuffers& buffers) {
    const float* inputs[] = {buffers.phase,         buffers.increment,        buffers.wrapFlag,
                             buffers.samplesToWrap, buffers.samplesSinceWrap, nullptr};
    float* outputs[] = {buffers.out};
    dsp::ProcessContext shape = context.ForChild(inputs, 6, outputs, 1);
    switch (waveform) {
    case Saw:
        shape.numInputs = 5;
        dsp::RunChild(saw, shape);
        break;
    case Square:
        dsp::RunChild(square, shape);
        break;
    case Noise:
        shape.numInputs = 0;
        dsp::RunChild(noise, shape);
        break;
    default:
        dsp::RunChild(triangle, shape);
        break;
    }
}

void VoiceOscillator::RunPostFilter(const dsp::ProcessContext& context, const VoiceBuffers& buffers) {
    const float* inputs[] = {buffers.out};
    float* outputs[] = {buffers.out};
    dsp::ProcessContext child = context.ForChild(inputs, 1, outputs, 1);
    dsp::RunChild(postFilter, child);
}

void VoiceOscillator::FilterSaw(float* samples, u32 frames) {
    float z1 = s1;
    float z2 = s2;
    for (u32 n = 0; n < frames; ++n) {
        const float v3 = samples[n] - z2;
        const float v1 = a1 * z1 + a2 * v3;
        const float v2 = z2 + a2 * z1 + a3 * v3;
        z1 = 2.0F * v1 - z1;
        z2 = 2.0F * v2 - z2;
        samples[n] = v2;
    }
    const bool isSound = std::isfinite(z1) && std::isfinite(z2);
    s1 = isSound ? z1 : 0.0F;
    s2 = isSound ? z2 : 0.0F;
}

/// A sine as waveshaper. Below unity drive it is brought back to full height; above, it folds.
void VoiceOscillator::Drive(const VoiceBuffers& buffers, u32 frames) {
    if (driveGain.IsAtTarget()) {
        const auto gain = static_cast<float>(driveGain.target);
        const Float4 g(gain);
        const Float4 height = gain >= 1.0F ? Float4(1.0F) : 1.0F / QuarterTurnSine(g);
        for (u32 n = 0; n < frames; n += 4) {
            const Float4 y = Float4::load_aligned(buffers.out + n);
            (QuarterTurnSine(g * y) * height).store_aligned(buffers.out + n);
        }
        return;
    }
    driveGain.RenderBlock(buffers.drive, frames);
    const Float4 one(1.0F);
    for (u32 n = 0; n < frames; n += 4) {
        const Float4 g = Float4::load_aligned(buffers.drive + n);
        const Float4 y = Float4::load_aligned(buffers.out + n);
        const Float4 height = xsimd::select(g >= one, one, 1.0F / QuarterTurnSine(g));
        (QuarterTurnSine(g * y) * height).store_aligned(buffers.out + n);
    }
}

} // namespace Velmora::Processor
