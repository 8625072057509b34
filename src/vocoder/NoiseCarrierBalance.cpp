// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/NoiseCarrierBalance.h"

#include "vocoder/SmoothedGain.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

/// Half the corner in radians per second: 15.9 Hz.
constexpr double halfCorner = 49.998447;

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
    float* carrierBus = context.outputs[0];
    float* noiseBus = context.outputs[1];
    const u32 numFrames = context.numFrames;
    WithSmoothedGain(balanceSmoother, [&](auto balance) { Filter(context, balance); });
    if (carrierPath.Heal()) {
        std::fill_n(carrierBus, numFrames, 0.0F);
    }
    if (noisePath.Heal()) {
        std::fill_n(noiseBus, numFrames, 0.0F);
    }
    if (mixed) {
        for (u32 n = 0; n < numFrames; ++n) {
            carrierBus[n] += noiseBus[n];
            noiseBus[n] = 0.0F;
        }
    }
    return true;
}

template <class Smoothed>
void NoiseCarrierBalance::Filter(const dsp::ProcessContext& context, Smoothed balance) {
    const float* carrier = context.inputs[0];
    const float* noise = context.inputs[1];
    float* carrierBus = context.outputs[0];
    float* noiseBus = context.outputs[1];
    dsp::FirstOrderSection carrierLocal = carrierPath;
    dsp::FirstOrderSection noiseLocal = noisePath;
    for (u32 n = 0; n < context.numFrames; ++n) {
        const float b = balance();
        const float c = std::clamp(b * 2.0F, 0.0F, 1.0F) * carrier[n];
        const float z = std::clamp((1.0F - b) + (1.0F - b), 0.0F, 1.0F) * noise[n];
        carrierBus[n] = static_cast<float>(carrierLocal.Tick(static_cast<double>(c)));
        noiseBus[n] = static_cast<float>(noiseLocal.Tick(static_cast<double>(z)));
    }
    carrierPath = carrierLocal;
    noisePath = noiseLocal;
}

} // namespace Velmora::Processor
