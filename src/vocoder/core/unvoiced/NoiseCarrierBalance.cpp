// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/unvoiced/NoiseCarrierBalance.h"

#include "dsp/vectors/Simd.h"
#include "vocoder/core/gain/SmoothedGain.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

/// Half the corner in radians per second: 15.9 Hz.
constexpr double halfCorner = 49.998447;

using dsp::simd::Float4;

/// One of the two signals on its way to its bus.
template <class T, class Input, class Output>
struct Path {
    dsp::BasicFirstOrderSection<T> section;
    Input input;
    Output output;
};

/// balances: one per channel. Both paths go in one loop, as neither waits for the other.
template <class T, class Input, class Output, class... Balance>
void Filter(Path<T, Input, Output>& carrier, Path<T, Input, Output>& noise, u32 numFrames,
            Balance... balances) {
    auto carrierSection = carrier.section;
    auto noiseSection = noise.section;
    for (u32 n = 0; n < numFrames; n += 4) {
        auto carrierQuad = carrier.input.Load(n);
        auto noiseQuad = noise.input.Load(n);
        dsp::StepFrames(carrierQuad, noiseQuad, [&](T& c, T& z) {
            const T b = dsp::Lanes(balances()...);
            c = carrierSection.Tick(dsp::ClipLanes(b * 2.0, 0.0, 1.0) * c);
            z = noiseSection.Tick(dsp::ClipLanes((1.0 - b) + (1.0 - b), 0.0, 1.0) * z);
        });
        carrier.output.Store(n, carrierQuad);
        noise.output.Store(n, noiseQuad);
    }
    carrier.section = carrierSection;
    noise.section = noiseSection;
}

} // namespace

NoiseCarrierBalance::NoiseCarrierBalance(std::string moduleName)
    : UnitModule(std::move(moduleName), 3, 2,
                 {dsp::ModuleParam("NoiseCarrierBalance"), dsp::ModuleParam("NoiseMix")}) {}

void NoiseCarrierBalance::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    const double t = std::tan(halfCorner / static_cast<double>(sampleRate));
    carrierPath.SetHighPass(t);
    noisePath.SetHighPass(t);
    balanceSmoother.Prepare(sampleRate, 1);
}

void NoiseCarrierBalance::OnReset(bool /*hard*/) {
    carrierPath.Reset();
    noisePath.Reset();
}

bool NoiseCarrierBalance::UpdateParameters(dsp::ProcessContext& context) {
    AimSmoother(balanceSmoother, parameters[Balance].GetModulatedValue(context, 2), needsUpdate);
    if (Changed(NoiseMix)) {
        mixed = Value(NoiseMix) > 0.5F;
    }
    return true;
}

bool NoiseCarrierBalance::Process(dsp::ProcessContext& context) {
    Path<double, dsp::SoloInput, dsp::SoloOutput> carrier{
        carrierPath, {context.inputs[0]}, {context.outputs[0]}};
    Path<double, dsp::SoloInput, dsp::SoloOutput> noise{noisePath, {context.inputs[1]}, {context.outputs[1]}};
    WithSmoothedGain(balanceSmoother,
                     [&](auto balance) { Filter(carrier, noise, context.numFrames, balance); });
    carrierPath = carrier.section;
    noisePath = noise.section;
    Finish(context);
    return true;
}

void NoiseCarrierBalance::ProcessPair(NoiseCarrierBalance& left, dsp::ProcessContext& leftContext,
                                      NoiseCarrierBalance& right, dsp::ProcessContext& rightContext) {
    using Pair = Path<dsp::Double2, dsp::PairInput, dsp::PairOutput>;
    Pair carrier{Join(left.carrierPath, right.carrierPath),
                 {leftContext.inputs[0], rightContext.inputs[0]},
                 {leftContext.outputs[0], rightContext.outputs[0]}};
    Pair noise{Join(left.noisePath, right.noisePath),
               {leftContext.inputs[1], rightContext.inputs[1]},
               {leftContext.outputs[1], rightContext.outputs[1]}};
    WithSmoothedGains(left.balanceSmoother, right.balanceSmoother, [&](auto leftBalance, auto rightBalance) {
        Filter(carrier, noise, leftContext.numFrames, leftBalance, rightBalance);
    });
    SplitState(carrier.section, left.carrierPath, right.carrierPath);
    SplitState(noise.section, left.noisePath, right.noisePath);
    left.Finish(leftContext);
    right.Finish(rightContext);
}

void NoiseCarrierBalance::Finish(dsp::ProcessContext& context) {
    float* carrierBus = context.outputs[0];
    float* noiseBus = context.outputs[1];
    const u32 numFrames = context.numFrames;
    if (carrierPath.Heal()) {
        std::fill_n(carrierBus, numFrames, 0.0F);
    }
    if (noisePath.Heal()) {
        std::fill_n(noiseBus, numFrames, 0.0F);
    }
    if (mixed) {
        for (u32 n = 0; n < numFrames; n += Float4::size) {
            const Float4 sum = Float4::load_unaligned(carrierBus + n) + Float4::load_unaligned(noiseBus + n);
            sum.store_unaligned(carrierBus + n);
            Float4(0.0F).store_unaligned(noiseBus + n);
        }
    }
}

} // namespace Velmora::Processor
