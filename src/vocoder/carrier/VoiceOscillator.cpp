// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/VoiceOscillator.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/Decibels.h"
#include "dsp/math/QuarterTurnSine.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/Simd.h"
#include "vocoder/carrier/VoiceFrequency.h"
#include "vocoder/carrier/kernels/VoiceKernels.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmora::Processor {

namespace {

using dsp::QuarterTurnSine;
using dsp::simd::Float4;

constexpr float unknown = std::numeric_limits<float>::quiet_NaN();

/// The mean of the sine on the straight way from one sample to the next, which is what its antiderivative
/// gives (Parker, Zavalishin and Le Bivic, "Reducing the aliasing of nonlinear waveshaping using continuous-
/// time convolution", DAFx 2016): the sine at the middle, times sin(x) / x of half the way.
Float4 MeanSine(const Float4& turns, float& lastTurns) {
    constexpr float leastWay = 1e-3F;
    constexpr float radians = 1.57079637F;
    const Float4 before{lastTurns, turns.get(0), turns.get(1), turns.get(2)};
    lastTurns = turns.get(3);
    const Float4 halfWay = (turns - before) * 0.5F;
    const auto isShort = xsimd::abs(halfWay) < Float4(leastWay);
    const Float4 way = xsimd::select(isShort, Float4(1.0F), halfWay);
    const Float4 share = xsimd::select(isShort, Float4(1.0F), QuarterTurnSine(way) / (way * radians));
    return QuarterTurnSine((turns + before) * 0.5F) * share;
}

} // namespace

VoiceOscillator::VoiceOscillator()
    : driveCurve(dsp::Declare::Exponential({}, -12.0F, 24.0F, -6.0F).Record()), lastFrequency(unknown),
      lastLevel(unknown), lastShape(unknown) {
    phaseGen.SetParameterNormalized(PhaseGen::On, 1.0F);
    ForEachShape([]<class Shape>(Shape& shape) {
        shape.SetParameterNormalized(Shape::On, 1.0F);
        shape.SetParameterNormalized(Shape::AAOn, 1.0F);
        if constexpr (Shape::hasWidth) {
            shape.SetParameterNormalized(Shape::PulseWidth, 0.5F);
        }
    });
    phaseGen.FindParameter(PhaseGen::Frequency)
        ->Redeclare(dsp::Curve::Linear, lowestVoiceFrequency, highestVoiceFrequency, 0.0F);
    noise.SetParameterValue(dsp::NoiseGenerator::NoiseType, dsp::NoiseGenerator::Morph);
}

void VoiceOscillator::Initialize(float rate, u32 maxBlockSize) {
    // The first call allocates: not in the first block.
    SelectVoiceKernels();
    phaseGen.Initialize(rate, maxBlockSize);
    ForEachShape([=](auto& shape) { shape.Initialize(rate, maxBlockSize); });
    postFilter.Initialize(rate, maxBlockSize);
    noise.Initialize(rate, maxBlockSize);
    level.Prepare(rate, 1);
    driveGain.Prepare(rate, 1);
    lowPass.Prepare(rate);
    lastShape = unknown;
}

void VoiceOscillator::Reset(bool hard) {
    phaseGen.Reset(hard);
    ForEachShape([hard](auto& shape) { shape.Reset(hard); });
    postFilter.Reset(hard);
    noise.Reset(hard);
    lowPass.Reset();
    lastTurns = 0.0F;
}

void VoiceOscillator::SetWaveform(i32 number) {
    if (number == waveform) {
        return;
    }
    waveform = number;
    // The shape that begins knows no reset of sync: the last one that it saw is long past.
    ForEachShape([](auto& shape) { shape.OnReset(false); });
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
    square.SetParameterNormalized(dsp::PolyBlepSquare::PulseWidth, shape * 0.47500002F + 0.5F);
    noise.SetParameterNormalized(dsp::NoiseGenerator::NoiseColor, shape);
    lowPass.SetCutoff(20000.0F - shape * 19800.0F);
    driveGain.SetTarget(dsp::DecibelsToGain(driveCurve.ToValue(shape)));
}

void VoiceOscillator::SetSyncMaster(bool on) {
    isSynced = on;
    phaseGen.SetParameterNormalized(PhaseGen::HSMaster, on ? 1.0F : 0.0F);
}

void VoiceOscillator::SetSyncSlave(bool on) {
    isSynced = on;
    const float position = on ? 1.0F : 0.0F;
    phaseGen.SetParameterNormalized(PhaseGen::HSSlave, position);
    ForEachShape(
        [position]<class Shape>(Shape& shape) { shape.SetParameterNormalized(Shape::HSSlave, position); });
}

void VoiceOscillator::SetFM(bool on) {
    if (on == isModulated) {
        return;
    }
    isModulated = on;
    const float position = on ? 1.0F : 0.0F;
    phaseGen.SetParameterNormalized(PhaseGen::FMOn, position);
    ForEachShape(
        [position]<class Shape>(Shape& shape) { shape.SetParameterNormalized(Shape::FMOn, position); });
}

void VoiceOscillator::SetStartPhase(float normalized) {
    phaseGen.SetParameterNormalized(PhaseGen::Phase0, normalized);
}

void VoiceOscillator::JumpToTargets() {
    level.Set(static_cast<float>(level.target));
    driveGain.Set(static_cast<float>(driveGain.target));
}

void VoiceOscillator::Render(const dsp::ProcessContext& context, float frequency,
                             const VoiceBuffers& buffers) {
    SetFrequency(LimitVoiceFrequency(frequency));
    if (waveform == Saw && !isSynced && !isModulated) {
        RenderSteadySaw(context, buffers.out);
        return;
    }
    RunPhase(context, buffers);
    RunWaveform(context, buffers);
    if (waveform == Saw) {
        for (u32 n = 0; n < context.numFrames; ++n) {
            buffers.out[n] = -buffers.out[n];
        }
    }
    if (waveform != Noise) {
        SelectVoiceKernels().postFilter(postFilter.History(), buffers.out, context.numFrames);
    }
}

void VoiceOscillator::SetFrequency(float hz) {
    if (hz != lastFrequency) {
        lastFrequency = hz;
        phaseGen.SetParameterValue(PhaseGen::Frequency, hz);
    }
}

void VoiceOscillator::RenderSteadySaw(const dsp::ProcessContext& context, float* out) {
    dsp::ProcessContext none = context.ForChild(nullptr, 0, nullptr, 0);
    const auto update = [&none](auto& module) {
        module.UpdateParameters(none);
        dsp::FinishChild(module);
    };
    update(phaseGen);
    update(saw);
    SelectVoiceKernels().renderSaw(phaseGen.RunSteadily(context.numFrames), postFilter.History(), out,
                                   context.numFrames);
}

void VoiceOscillator::Finish(const VoiceBuffers& buffers, u32 frames) {
    if (IsDriven()) {
        Drive(buffers, frames);
    }
}

void VoiceOscillator::FinishInto(float* out, float envelope, const VoiceBuffers& buffers, u32 frames) {
    const VoiceKernels& kernels = SelectVoiceKernels();
    const auto gain = static_cast<float>(level.target);
    if (IsDriven() && !isDriveSmooth && driveGain.IsAtTarget()) {
        kernels.addDriven(buffers.out, static_cast<float>(driveGain.target), gain, envelope, out, frames);
        return;
    }
    Finish(buffers, frames);
    kernels.add(buffers.out, gain, envelope, out, frames);
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

void VoiceOscillator::Drive(const VoiceBuffers& buffers, u32 frames) {
    const VoiceKernels& kernels = SelectVoiceKernels();
    if (isDriveSmooth) {
        DriveSmoothly(buffers, frames);
    } else if (driveGain.IsAtTarget()) {
        kernels.drive(buffers.out, static_cast<float>(driveGain.target), frames);
    } else {
        driveGain.RenderBlock(buffers.drive, frames);
        kernels.driveMoving(buffers.out, buffers.drive, frames);
    }
}

void VoiceOscillator::DriveSmoothly(const VoiceBuffers& buffers, u32 frames) {
    driveGain.RenderBlock(buffers.drive, frames);
    const Float4 one(1.0F);
    for (u32 n = 0; n < frames; n += 4) {
        const Float4 g = Float4::load_aligned(buffers.drive + n);
        const Float4 y = Float4::load_aligned(buffers.out + n);
        const Float4 height = xsimd::select(g >= one, one, 1.0F / QuarterTurnSine(g));
        (MeanSine(g * y, lastTurns) * height).store_aligned(buffers.out + n);
    }
}

} // namespace Velmora::Processor
