// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/AnalyzerRectifiers.h"

#include "vocoder/core/kernels/LaneTile.h"

#include <algorithm>
#include <cmath>

namespace Velmora::Processor {

namespace {

auto FollowerArguments(std::size_t index) {
    return std::make_tuple("RectifierFollower" + std::to_string(index + 1),
                           index == 0 ? RectifierFollower::LowestBand : RectifierFollower::OtherBand);
}

} // namespace

AnalyzerRectifiers::AnalyzerRectifiers(std::string moduleName)
    : AnalyzerRectifiers(std::move(moduleName), std::make_index_sequence<bandCount>()) {}

template <std::size_t... Indices>
AnalyzerRectifiers::AnalyzerRectifiers(std::string moduleName, std::index_sequence<Indices...> /*indices*/)
    : ModuleContainer(std::move(moduleName), bandCount + 2, 2 * bandCount, RectifierFollower::DeclareTimes(),
                      FollowerArguments(Indices)...) {}

void AnalyzerRectifiers::OnInitialize(float newSampleRate, u32 /*maxBlockSize*/) {
    sampleRate = newSampleRate;
    u32 band = 0;
    ForEachChild([this, &band](RectifierFollower& follower) {
        SetLane(band++, RectifierFollower::Circuit(follower.Type(), sampleRate));
    });
}

void AnalyzerRectifiers::SetLane(u32 band, const RectifierFollower::Circuit& circuit) {
    // The whole chain up to the clip is linear: one factor in front stands for all of them.
    const double factor = circuit.biquad.b0 * RectifierFollower::controlScale;
    const double input = factor * circuit.poleB0 * circuit.currentToVoltage;
    lanes.gainPositive[band] = static_cast<float>(static_cast<double>(circuit.rectGainPositive) * input);
    lanes.gainNegative[band] = static_cast<float>(static_cast<double>(circuit.rectGainNegative) * input);
    lanes.bias[band] = circuit.Bias() * factor;
    lanes.poleA1[band] = circuit.poleA1;
    lanes.a1[band] = circuit.biquad.a1;
    lanes.a2[band] = circuit.biquad.a2;
}

void AnalyzerRectifiers::OnReset(bool /*hard*/) {
    for (u32 band = 0; band < bandCount; ++band) {
        ClearLane(band);
    }
    meterValues.fill(0.0F);
    // The owner looks at the times before the first block has updated them.
    attack = AdditionalValue(Attack);
    release = AdditionalValue(Release);
}

bool AnalyzerRectifiers::UpdateParameters(dsp::ProcessContext& context) {
    attack = additional.parameters[Attack].GetModulatedValue(context, attackInput);
    release = additional.parameters[Release].GetModulatedValue(context, releaseInput);
    ForEachChild([this](auto& follower) { follower.SetTimes(attack, release); });
    // The lanes share their coefficients, so these are computed once, and only on a change.
    if (needsUpdate || attack != preparedAttack) {
        preparedAttack = attack;
        lanes.attackCoefficient = SmootherCoefficient(attack);
    }
    if (needsUpdate || release != preparedRelease) {
        preparedRelease = release;
        lanes.releaseCoefficient = SmootherCoefficient(release);
    }
    return true;
}

double AnalyzerRectifiers::SmootherCoefficient(float seconds) const {
    return 1.0 - std::exp(-5.0 / (sampleRate * RectifierFollower::SmootherTime(seconds)));
}

bool AnalyzerRectifiers::Process(dsp::ProcessContext& context) {
    LaneTile tile;
    for (u32 offset = 0; offset < context.numFrames; offset += LaneTile::maxFrames) {
        const u32 frames = std::min(LaneTile::maxFrames, context.numFrames - offset);
        kernels->gatherBands(context.inputs, offset, frames, tile);
        FollowTile(tile, frames, context.outputs, offset);
    }
    FinishBlock(context.outputs, context.numFrames);
    return true;
}

void AnalyzerRectifiers::FollowTile(LaneTile& bands, u32 frames, float* const* outputs, u32 offset) {
    LaneTile envelopes;
    kernels->runRectifiers(lanes, bands.Data(), envelopes.Data(), frames);
    kernels->scatterBands(envelopes, frames, outputs, offset);
    kernels->scatterBands(bands, frames, outputs + bandCount, offset);
}

void AnalyzerRectifiers::FinishBlock(const float* const* outputs, u32 numFrames) {
    u32 band = 0;
    ForEachChild([&](RectifierFollower& follower) {
        if (numFrames > 0) {
            follower.meterValue = meterValues[band] = outputs[band][0];
        }
        follower.needsUpdate = false;
        follower.ClearParameterChanges(false);
        ++band;
    });
    HealLanes();
    needsUpdate = false;
    ClearParameterChanges(false);
}

void AnalyzerRectifiers::HealLanes() {
    // Nine orders of magnitude above full scale; not-a-number fails the comparison too. What is wrong with
    // the stages before it has reached the biquad's output by the end of the block.
    constexpr double controlLimit = 1e6;
    u64 broken[bandCount] = {};
    for (const auto* state : {&lanes.out1, &lanes.envelope}) {
        for (u32 band = 0; band < bandCount; ++band) {
            broken[band] |= std::abs((*state)[band]) <= controlLimit ? u64{0} : u64{1};
        }
    }
    for (u32 band = 0; band < bandCount; ++band) {
        if (broken[band] != 0) {
            ClearLane(band);
        }
    }
}

void AnalyzerRectifiers::ClearLane(u32 band) {
    for (auto* state : {lanes.rectified1, lanes.pole1, lanes.pole2, lanes.out1, lanes.out2, lanes.envelope}) {
        state[band] = 0.0;
    }
}

} // namespace Velmora::Processor
