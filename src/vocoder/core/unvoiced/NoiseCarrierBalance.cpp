// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/unvoiced/NoiseCarrierBalance.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"
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

} // namespace

NoiseCarrierBalance::NoiseCarrierBalance(std::string moduleName)
    : UnitModule(std::move(moduleName), InputCount, OutputCount,
                 dsp::RecordsOf({dsp::Declare::Raw("NoiseCarrierBalance"), dsp::Declare::Raw("NoiseMix")})) {}

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
    GlideTo(balanceSmoother, parameters[Balance].GetModulatedValue(context, BalanceModulation), needsUpdate);
    if (Changed(NoiseMix)) {
        mixed = Value(NoiseMix) > 0.5F;
    }
    return true;
}

bool NoiseCarrierBalance::Process(dsp::ProcessContext& context) {
    Run(dsp::ChannelBlock<NoiseCarrierBalance>{*this, context});
    return true;
}

void NoiseCarrierBalance::ProcessPair(NoiseCarrierBalance& left, dsp::ProcessContext& leftContext,
                                      NoiseCarrierBalance& right, dsp::ProcessContext& rightContext) {
    Run(dsp::ChannelBlock<NoiseCarrierBalance>{left, leftContext},
        dsp::ChannelBlock<NoiseCarrierBalance>{right, rightContext});
}

/// Both paths go in one loop, as neither waits for the other.
template <class... Channels>
void NoiseCarrierBalance::Run(const Channels&... channels) {
    auto carrierSection = dsp::Join(channels.module.carrierPath...);
    auto noiseSection = dsp::Join(channels.module.noisePath...);
    const auto carrier = dsp::ReadFrom(channels.context.inputs[Carrier]...);
    const auto noise = dsp::ReadFrom(channels.context.inputs[Noise]...);
    const auto carrierBus = dsp::WriteTo(channels.context.outputs[CarrierBus]...);
    const auto noiseBus = dsp::WriteTo(channels.context.outputs[NoiseBus]...);
    const auto filter = [&](auto... balances) {
        auto carrierFilter = carrierSection;
        auto noiseFilter = noiseSection;
        const u32 frames = dsp::FramesOf(channels...);
        for (u32 n = 0; n < frames; n += 4) {
            auto carrierQuad = carrier.Load(n);
            auto noiseQuad = noise.Load(n);
            dsp::StepFrames(carrierQuad, noiseQuad, [&](auto& c, auto& z) {
                const auto b = dsp::Lanes(balances()...);
                c = carrierFilter.Tick(dsp::ClipLanes(b * 2.0, 0.0, 1.0) * c);
                z = noiseFilter.Tick(dsp::ClipLanes((1.0 - b) + (1.0 - b), 0.0, 1.0) * z);
            });
            carrierBus.Store(n, carrierQuad);
            noiseBus.Store(n, noiseQuad);
        }
        carrierSection = carrierFilter;
        noiseSection = noiseFilter;
    };
    WithSmoothedGains(filter, channels.module.balanceSmoother...);
    dsp::SplitState(carrierSection, channels.module.carrierPath...);
    dsp::SplitState(noiseSection, channels.module.noisePath...);
    (channels.module.Finish(channels.context), ...);
}

void NoiseCarrierBalance::Finish(const dsp::ProcessContext& context) {
    float* carrierBus = context.outputs[CarrierBus];
    float* noiseBus = context.outputs[NoiseBus];
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
