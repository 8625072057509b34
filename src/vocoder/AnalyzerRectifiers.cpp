// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/AnalyzerRectifiers.h"

#include "vocoder/kernels/LaneTile.h"

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
}

bool AnalyzerRectifiers::UpdateParameters(dsp::ProcessContext& context) {
    attack = additional.parameters[Attack].GetModulatedValue(context, attackInput);
    ForEachChild([this](auto& follower) { follower.SetParameterValue(RectifierFollower::Attack, attack); });
    release = additional.parameters[Release].GetModulatedValue(context, releaseInput);
    ForEachChild([this](auto& follower) { follower.SetParameterValue(RectifierFollower::Release, release); });
    return true;
}

bool AnalyzerRectifiers::Process(dsp::ProcessContext& context) {
    UpdateCoefficients();
    LaneTile rows;
    LaneTile envelopes;
    for (u32 offset = 0; offset < context.numFrames; offset += LaneTile::maxFrames) {
        const u32 frames = std::min(LaneTile::maxFrames, context.numFrames - offset);
        GatherBands(context.inputs, offset, frames, rows);
        kernels->runRectifiers(lanes, rows.Data(), envelopes.Data(), frames);
        ScatterBands(envelopes, frames, context.outputs, offset);
        ScatterBands(rows, frames, context.outputs + bandCount, offset);
    }
    PublishMeters(context.outputs, context.numFrames);
    HealLanes();
    return true;
}

void AnalyzerRectifiers::UpdateCoefficients() {
    // All followers share the times of the first, so its change flags speak for all.
    const auto coefficient = [this](float seconds) {
        return 1.0 - std::exp(-5.0 / (sampleRate * RectifierFollower::SmootherTime(seconds)));
    };
    if (Child<0>().IsChanged(RectifierFollower::Attack)) {
        lanes.attackCoefficient = coefficient(attack);
    }
    if (Child<0>().IsChanged(RectifierFollower::Release)) {
        lanes.releaseCoefficient = coefficient(release);
    }
    ForEachChild([](RectifierFollower& follower) {
        follower.needsUpdate = false;
        follower.ClearParameterChanges(false);
    });
}

void AnalyzerRectifiers::PublishMeters(const float* const* outputs, u32 numFrames) {
    if (numFrames == 0) {
        return;
    }
    u32 band = 0;
    ForEachChild([&](RectifierFollower& follower) {
        follower.meterValue = outputs[band][0];
        meterValues[band] = follower.meterValue;
        ++band;
    });
}

void AnalyzerRectifiers::HealLanes() {
    // Nine orders of magnitude above full scale; not-a-number fails the comparison too.
    constexpr double controlLimit = 1e6;
    for (u32 band = 0; band < bandCount; ++band) {
        bool healthy = true;
        for (const auto* state : {lanes.rectified1, lanes.pole1, lanes.pole2, lanes.out1, lanes.out2, lanes.envelope}) {
            healthy = healthy && std::abs(state[band]) <= controlLimit;
        }
        if (!healthy) {
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
