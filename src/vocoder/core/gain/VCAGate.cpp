// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/gain/VCAGate.h"

#include "dsp/math/CornerLimit.h"
#include "dsp/math/IntactState.h"
#include "dsp/vectors/FrameLanes.h"
#include "dsp/vectors/Simd.h"
#include "vocoder/core/gain/VCAGateCurves.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

using dsp::simd::Float4;

/// Multiplies the gate's factors in gain by the shaped signal.
template <class Curve>
void Multiply(const float* signal, float drive, float* gain, float postGain, u32 numFrames, Curve curve) {
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        const Float4 shaped = curve(drive * Float4::load_unaligned(signal + n));
        (shaped * Float4::load_unaligned(gain + n) * postGain).store_unaligned(gain + n);
    }
}

/// True when some driven sample is above the limiter's first piece.
bool IsLoud(const float* signal, float drive, u32 numFrames) {
    xsimd::batch_bool<float, dsp::simd::BaselineArch> loud(false);
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        loud = loud | (xsimd::abs(drive * Float4::load_unaligned(signal + n)) > 1.0F);
    }
    return xsimd::any(loud);
}

/// True for a block of one level that is a number.
bool HoldsLevel(const float* control, u32 numFrames) {
    if (numFrames == 0) {
        return false;
    }
    const Float4 level(control[0]);
    xsimd::batch_bool<float, dsp::simd::BaselineArch> held(true);
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        held = held & (Float4::load_unaligned(control + n) == level);
    }
    return xsimd::all(held);
}

/// Runs the recursion of a held level; returns the last factor.
template <class Output, class T>
T RunHeld(Output gate, u32 numFrames, T firstFeed, T feed, T decay, T g) {
    T next = firstFeed;
    const auto step = [&] {
        g = next - decay * g;
        next = feed;
        return g;
    };
    for (u32 n = 0; n < numFrames; n += 4) {
        gate.Store(n, dsp::FrameQuad<T>{step(), step(), step(), step()});
    }
    return g;
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

void VCAGate::OnInitialize(float newSampleRate, u32 /*maxBlockSize*/) { sampleRate = newSampleRate; }

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
    const float* control = context.inputs[1];
    float* output = context.outputs[0];
    const u32 numFrames = context.numFrames;
    // The output buffer carries the current, then the gate's factor, then the signal.
    if (HoldsLevel(control, numFrames)) {
        const float level = control[0];
        const HeldLevel held = BeginHeld(level);
        const double last =
            RunHeld(dsp::SoloOutput{output}, numFrames, held.firstFeed, held.feed, held.decay, held.gate);
        FinishHeld(level, held, last);
    } else {
        for (u32 n = 0; n < numFrames; n += Float4::size) {
            gateCurves::Current(Float4::load_unaligned(control + n)).store_unaligned(output + n);
        }
        FollowControl(control, output, numFrames);
    }
    Amplify(context);
    return true;
}

/// Lanes serve the usual block, in which the control of either channel holds its level.
void VCAGate::ProcessPair(VCAGate& left, dsp::ProcessContext& leftContext, VCAGate& right,
                          dsp::ProcessContext& rightContext) {
    const u32 numFrames = leftContext.numFrames;
    if (!HoldsLevel(leftContext.inputs[1], numFrames) || !HoldsLevel(rightContext.inputs[1], numFrames)) {
        left.Process(leftContext);
        right.Process(rightContext);
        return;
    }
    const float leftLevel = leftContext.inputs[1][0];
    const float rightLevel = rightContext.inputs[1][0];
    const HeldLevel l = left.BeginHeld(leftLevel);
    const HeldLevel r = right.BeginHeld(rightLevel);
    const dsp::Double2 last =
        RunHeld(dsp::PairOutput{leftContext.outputs[0], rightContext.outputs[0]}, numFrames,
                dsp::Lanes(l.firstFeed, r.firstFeed), dsp::Lanes(l.feed, r.feed),
                dsp::Lanes(l.decay, r.decay), dsp::Lanes(l.gate, r.gate));
    double leftGate = 0.0;
    double rightGate = 0.0;
    dsp::SplitLanes(last, leftGate, rightGate);
    left.FinishHeld(leftLevel, l, leftGate);
    right.FinishHeld(rightLevel, r, rightGate);
    left.Amplify(leftContext);
    right.Amplify(rightContext);
}

/// The first frame still sees the input before it; from then on the feed is constant.
VCAGate::HeldLevel VCAGate::BeginHeld(float level) const {
    if (level > 0.0F) {
        return {0.0, releaseB1 * releaseX1, releaseB1 * 0.0, releaseA1, releaseY1};
    }
    const double current = static_cast<double>(gateCurves::Current(Float4(level)).get(0));
    return {current, attackB1 * attackX1 + attackB0 * current, attackB1 * current + attackB0 * current,
            attackA1, attackY1};
}

void VCAGate::FinishHeld(float level, const HeldLevel& held, double gate) {
    if (level > 0.0F) {
        FinishRelease(gate);
    } else {
        FinishAttack(held.current, gate);
    }
}

/// Multiplies the signal by the factors in the output buffer.
void VCAGate::Amplify(const dsp::ProcessContext& context) {
    float* output = context.outputs[0];
    const u32 numFrames = context.numFrames;
    if (Heal()) {
        std::fill_n(output, numFrames, 0.0F);
    }
    lastGate = numFrames == 0 ? 0.0F : static_cast<float>(attackY1);
    const float drive = inputAttenuation * preGain;
    const float* signal = context.inputs[0];
    if (IsLoud(signal, drive, numFrames)) {
        Multiply(signal, drive, output, postGain, numFrames, gateCurves::Shape);
    } else {
        Multiply(signal, drive, output, postGain, numFrames, gateCurves::ShapeQuiet);
    }
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
    FinishAttack(x1, g);
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
    FinishRelease(g);
    return n;
}

void VCAGate::FinishAttack(double x1, double g) {
    attackX1 = x1;
    releaseX1 = (g - releaseB0 * x1 + releaseA1 * g) / releaseB1;
    attackY1 = releaseY1 = g;
}

void VCAGate::FinishRelease(double g) {
    releaseX1 = 0.0;
    attackX1 = (attackA1 * g + g) / attackB1;
    attackY1 = releaseY1 = g;
}

/// Clears a state that has blown up, so that the gate works again by itself. True when it had.
bool VCAGate::Heal() {
    const bool blown = !dsp::IsIntact(attackX1) || !dsp::IsIntact(releaseX1) || !dsp::IsIntact(attackY1);
    if (blown) {
        attackX1 = attackY1 = releaseX1 = releaseY1 = 0.0;
    }
    return blown;
}

} // namespace Velmora::Processor
