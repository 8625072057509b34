// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/gain/VCAGate.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/CornerAngle.h"
#include "dsp/math/SilenceFloor.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/FrameLanes.h"
#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace Velmora::Processor {

namespace {

using dsp::simd::Float4;

/// The current into the gate's capacitor at a control voltage: none, a bend, then a straight line.
Float4 Current(Float4 c) {
    const Float4 line = -2.22997e-05F - c * 2.28312e-05F;
    const Float4 bend = ((c * 8.80099e-06F + 4.27897e-05F) * c + 4.59834e-05F) * c + 1.42501e-05F;
    const Float4 belowZero = xsimd::select(c < -0.679963F, bend, Float4(0.0F));
    return xsimd::select(c < -1.7626F, line, belowZero);
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

/// The tangent behind the coefficients of a corner in Hz.
double CornerTangent(float hz, float sampleRate) {
    const double rate = static_cast<double>(sampleRate);
    return std::tan(6.283185307179586 * dsp::LimitCorner(static_cast<double>(hz), rate) / rate * 0.5);
}

} // namespace

VCAGate::VCAGate(std::string moduleName)
    : UnitModule(
          std::move(moduleName), InputCount, 1,
          dsp::RecordsOf({dsp::Declare::Raw("Pot"), dsp::Declare::Linear("FcGateAttack", 0.1F, 1600.0F),
                          dsp::Declare::Linear("FcGateRelease", 0.1F, 50.0F)})) {}

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
        inputAttenuation = -470.0F / (HeldValue(Pot) * 100000.0F + 30470.0F);
    }
    if (Changed(FcGateAttack)) {
        const double t = CornerTangent(HeldValue(FcGateAttack), sampleRate);
        attackB0 = attackB1 = t / (1.0 + t);
        attackA1 = -(1.0 - t) / (1.0 + t);
    }
    if (Changed(FcGateRelease)) {
        const double t = CornerTangent(HeldValue(FcGateRelease), sampleRate);
        releaseB0 = releaseB1 = t / (1.0 + t);
        releaseA1 = -(1.0 - t) / (1.0 + t);
    }
    return true;
}

bool VCAGate::Process(dsp::ProcessContext& context) {
    if (HoldsLevel(context.inputs[Control], context.numFrames)) {
        RunHeld(dsp::ChannelBlock<VCAGate>{*this, context});
    } else {
        FollowControl(context.inputs[Control], context.outputs[0], context.numFrames);
        Amplify(context);
    }
    return true;
}

/// Lanes serve the usual block, in which the control of either channel holds its level.
void VCAGate::ProcessPair(VCAGate& left, dsp::ProcessContext& leftContext, VCAGate& right,
                          dsp::ProcessContext& rightContext) {
    if (!HoldsLevel(leftContext.inputs[Control], leftContext.numFrames) ||
        !HoldsLevel(rightContext.inputs[Control], leftContext.numFrames)) {
        left.Process(leftContext);
        right.Process(rightContext);
        return;
    }
    RunHeld(dsp::ChannelBlock<VCAGate>{left, leftContext}, dsp::ChannelBlock<VCAGate>{right, rightContext});
}

/// The recursion of a held level, whose factors go to the output buffer. One that has come to rest would give
/// the same factor again and again, which is told without it.
template <class... Channels>
void VCAGate::RunHeld(const Channels&... channels) {
    const auto run = [&](const auto&... held) {
        const auto output = dsp::WriteTo(channels.context.outputs[0]...);
        const auto feed = dsp::Lanes(held.feed...);
        const auto decay = dsp::Lanes(held.decay...);
        auto next = dsp::Lanes(held.firstFeed...);
        auto gate = dsp::Lanes(held.gate...);
        const auto step = [&] {
            gate = next - decay * gate;
            next = feed;
            return gate;
        };
        for (u32 n = 0; n < dsp::FramesOf(channels...); n += 4) {
            output.Store(n, dsp::FrameQuad<decltype(gate)>{step(), step(), step(), step()});
        }
        return gate;
    };
    HeldLevel held[] = {channels.module.BeginHeld(channels.context.inputs[Control][0])...};
    if (std::all_of(std::begin(held), std::end(held), [](const HeldLevel& h) { return h.Rests(); })) {
        const HeldLevel* resting = held;
        (channels.module.FinishHeld(channels.context.inputs[Control][0], *resting++), ...);
        (channels.module.AmplifyAtRest(channels.context), ...);
        return;
    }
    if constexpr (sizeof...(channels) == 1) {
        held[0].gate = run(held[0]);
    } else {
        dsp::SplitLanes(run(held[0], held[1]), held[0].gate, held[1].gate);
    }
    const HeldLevel* finished = held;
    (channels.module.FinishHeld(channels.context.inputs[Control][0], *finished++), ...);
    (channels.module.Amplify(channels.context), ...);
}

/// The first frame still sees the input before it; from then on the feed is constant.
VCAGate::HeldLevel VCAGate::BeginHeld(float level) const {
    if (level > 0.0F) {
        return {0.0, releaseB1 * releaseX1, releaseB1 * 0.0, releaseA1, releaseY1};
    }
    const double current = static_cast<double>(Current(Float4(level)).get(0));
    return {current, attackB1 * attackX1 + attackB0 * current, attackB1 * current + attackB0 * current,
            attackA1, attackY1};
}

void VCAGate::FinishHeld(float level, const HeldLevel& held) {
    if (level > 0.0F) {
        FinishRelease(held.gate);
    } else {
        FinishAttack(held.current, held.gate);
    }
}

/// Multiplies the signal by the factors in the output buffer.
void VCAGate::Amplify(const dsp::ProcessContext& context) {
    float* factors = context.outputs[0];
    if (Heal()) {
        std::fill_n(factors, context.numFrames, 0.0F);
    }
    AmplifyBy(factors, context);
}

/// Multiplies the signal by the one factor that the gate keeps.
void VCAGate::AmplifyAtRest(const dsp::ProcessContext& context) {
    Heal();
    AmplifyBy(nullptr, context);
}

void VCAGate::AmplifyBy(const float* factors, const dsp::ProcessContext& context) {
    const auto factor = static_cast<float>(attackY1);
    lastGate = context.numFrames == 0 ? 0.0F : factor;
    kernels->amplifyGated({.signal = context.inputs[Signal],
                           .drive = inputAttenuation * preGain,
                           .factors = factors,
                           .factor = factor,
                           .postGain = postGain,
                           .out = context.outputs[0]},
                          context.numFrames);
}

/// The buffer carries the currents, then the factors, one stretch of equal control sign after the other.
void VCAGate::FollowControl(const float* control, float* gate, u32 numFrames) {
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        Current(Float4::load_unaligned(control + n)).store_unaligned(gate + n);
    }
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
    dsp::LetRest(attackX1, attackY1, releaseX1, releaseY1);
    return blown;
}

} // namespace Velmora::Processor
