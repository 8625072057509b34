// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/VCAGate.h"

#include "dsp/CornerLimit.h"
#include "dsp/Simd.h"
#include "dsp/StateLimit.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

using dsp::simd::Float4;

/// The current into the gate's capacitor at a control voltage: none, a bend, then a straight line.
Float4 GateCurrent(Float4 c) {
    const Float4 line = -2.22997e-05F - c * 2.28312e-05F;
    const Float4 bend = ((c * 8.80099e-06F + 4.27897e-05F) * c + 4.59834e-05F) * c + 1.42501e-05F;
    const Float4 belowZero = xsimd::select(c < -0.679963F, bend, Float4(0.0F));
    return xsimd::select(c < -1.7626F, line, belowZero);
}

/// The amplifier's soft limiter: an odd curve close to the hyperbolic tangent, in three pieces.
Float4 Shape(Float4 v) {
    const Float4 m = xsimd::abs(v);
    const Float4 low = m - (m * 0.10321397F + 0.13519187F) * m * m;
    const Float4 middle = ((m * 0.08575832F - 0.5605742F) * m + 1.2838478F) * m - 0.04743774F;
    const Float4 high = (m - 1.5091578F) / (m - 1.4908422F);
    const Float4 upper = xsimd::select(m > 2.0F, high, middle);
    return xsimd::copysign(xsimd::select(m > 1.0F, upper, low), v);
}

/// The tangent behind the coefficients of a corner in Hz.
double CornerTangent(float hz, float sampleRate) {
    const double rate = static_cast<double>(sampleRate);
    return std::tan(6.283185307179586 * dsp::LimitCorner(static_cast<double>(hz), rate) / rate * 0.5);
}

} // namespace

VCAGate::VCAGate(std::string moduleName)
    : UnitModule(std::move(moduleName), 2, 1,
                 {dsp::ModuleParam("Pot"), dsp::ModuleParam::Mapped("FcGateAttack", 1, 0.1F, 1600.0F, 1.0F),
                  dsp::ModuleParam::Mapped("FcGateRelease", 1, 0.1F, 50.0F, 1.0F)}) {}

void VCAGate::OnInitialize(float newSampleRate, u32 /*maxBlockSize*/) {
    sampleRate = newSampleRate;
}

void VCAGate::OnReset(bool /*hard*/) {
    attackX1 = attackY1 = releaseX1 = releaseY1 = 0.0;
    lastGate = 0.0F;
}

bool VCAGate::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(Pot)) {
        // An inverting stage: 470 ohm over a fixed resistor in series with the potentiometer.
        inputAttenuation = -470.0F / (Value(Pot) * 100000.0F + 30470.0F);
    }
    if (Changed(FcGateAttack)) {
        const double t = CornerTangent(Value(FcGateAttack), sampleRate);
        attackB0 = attackB1 = t / (1.0 + t);
        attackA1 = -(1.0 - t) / (1.0 + t);
    }
    if (Changed(FcGateRelease)) {
        const double t = CornerTangent(Value(FcGateRelease), sampleRate);
        releaseB0 = releaseB1 = t / (1.0 + t);
        releaseA1 = -(1.0 - t) / (1.0 + t);
    }
    return true;
}

bool VCAGate::Process(dsp::ProcessContext& context) {
    const float* signal = context.inputs[0];
    const float* control = context.inputs[1];
    float* output = context.outputs[0];
    const u32 numFrames = context.numFrames;
    // The output buffer carries the current, then the gate's factor, then the signal.
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        GateCurrent(Float4::load_unaligned(control + n)).store_unaligned(output + n);
    }
    FollowControl(control, output, numFrames);
    if (Heal()) {
        std::fill_n(output, numFrames, 0.0F);
    }
    lastGate = numFrames == 0 ? 0.0F : static_cast<float>(attackY1);
    const float drive = inputAttenuation * preGain;
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        const Float4 shaped = Shape(drive * Float4::load_unaligned(signal + n));
        (shaped * Float4::load_unaligned(output + n) * postGain).store_unaligned(output + n);
    }
    return true;
}

/// Replaces currents by factors, one stretch of equal control sign after the other.
void VCAGate::FollowControl(const float* control, float* gate, u32 numFrames) {
    u32 n = 0;
    while (n < numFrames) {
        n = control[n] > 0.0F ? RunRelease(control, gate, n, numFrames)
                              : RunAttack(control, gate, n, numFrames);
    }
}

/// Both stretches return the frame behind their last one. The idle section's virtual input follows from the
/// last sample alone, so it is computed once, at the end.
u32 VCAGate::RunAttack(const float* control, float* gate, u32 n, u32 numFrames) {
    double x1 = attackX1;
    double g = attackY1;
    do {
        const double current = static_cast<double>(gate[n]);
        g = (attackB1 * x1 + attackB0 * current) - attackA1 * g;
        x1 = current;
        gate[n] = static_cast<float>(g);
        ++n;
    } while (n < numFrames && !(control[n] > 0.0F));
    attackX1 = x1;
    releaseX1 = (g - releaseB0 * x1 + releaseA1 * g) / releaseB1;
    attackY1 = releaseY1 = g;
    return n;
}

u32 VCAGate::RunRelease(const float* control, float* gate, u32 n, u32 numFrames) {
    double x1 = releaseX1;
    double g = releaseY1;
    do {
        g = releaseB1 * x1 - releaseA1 * g;
        x1 = 0.0;
        gate[n] = static_cast<float>(g);
        ++n;
    } while (n < numFrames && control[n] > 0.0F);
    releaseX1 = 0.0;
    attackX1 = (attackA1 * g + g) / attackB1;
    attackY1 = releaseY1 = g;
    return n;
}

/// Clears a state that has blown up, so that the gate works again by itself. True when it had.
bool VCAGate::Heal() {
    const bool blown = !dsp::IsWithinStateLimit(attackX1) || !dsp::IsWithinStateLimit(releaseX1) ||
                       !dsp::IsWithinStateLimit(attackY1);
    if (blown) {
        attackX1 = attackY1 = releaseX1 = releaseY1 = 0.0;
    }
    return blown;
}

} // namespace Velmora::Processor
