// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/RectifierFollowerHissBuzz.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

/// Ampere per volt of the two halves, which differ slightly, and volt per ampere behind them.
constexpr float rectGainPositive = -4.988e-05F;
constexpr float rectGainNegative = 4.994e-05F;
constexpr float currentToVoltage = -20000.0F;
/// Half the one-pole's corner and the biquad's corner, in radians per second: 79.6 and 101.3 Hz.
constexpr double onePoleHalfCorner = 249.99998;
constexpr double biquadCorner = 636.4909;
constexpr double biquadDamping = 0.7141428;

void Rectify(const float* input, float* output, u32 numFrames) {
    for (u32 n = 0; n < numFrames; ++n) {
        const float x = input[n];
        output[n] = x * (x <= 0.0F ? rectGainNegative : rectGainPositive) * currentToVoltage;
    }
}

} // namespace

RectifierFollowerHissBuzz::RectifierFollowerHissBuzz(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, 1, std::vector<dsp::ModuleParam>()) {}

void RectifierFollowerHissBuzz::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    const double rate = static_cast<double>(sampleRate);
    filter.onePole.SetLowPass(std::tan(onePoleHalfCorner / rate));
    const double w = biquadCorner / rate;
    filter.biquad.SetLowPass(w, std::sin(w) * biquadDamping);
}

void RectifierFollowerHissBuzz::OnReset(bool /*hard*/) {
    filter.onePole.Reset();
    filter.biquad.Reset();
}

bool RectifierFollowerHissBuzz::UpdateParameters(dsp::ProcessContext& /*context*/) {
    return true;
}

float RectifierFollowerHissBuzz::Filter::Tick(float rectified) {
    return static_cast<float>(biquad.Tick(onePole.Tick(static_cast<double>(rectified))));
}

bool RectifierFollowerHissBuzz::Process(dsp::ProcessContext& context) {
    float* output = context.outputs[0];
    Rectify(context.inputs[0], output, context.numFrames);
    Filter local = filter;
    for (u32 n = 0; n < context.numFrames; ++n) {
        output[n] = local.Tick(output[n]);
    }
    filter = local;
    Finish(output, context.numFrames);
    return true;
}

void RectifierFollowerHissBuzz::RunPair(RectifierFollowerHissBuzz& first, const float* firstInput,
                                        float* firstOutput, RectifierFollowerHissBuzz& second,
                                        const float* secondInput, float* secondOutput, u32 numFrames) {
    Rectify(firstInput, firstOutput, numFrames);
    Rectify(secondInput, secondOutput, numFrames);
    Filter firstLocal = first.filter;
    Filter secondLocal = second.filter;
    for (u32 n = 0; n < numFrames; ++n) {
        firstOutput[n] = firstLocal.Tick(firstOutput[n]);
        secondOutput[n] = secondLocal.Tick(secondOutput[n]);
    }
    first.filter = firstLocal;
    second.filter = secondLocal;
    first.Finish(firstOutput, numFrames);
    second.Finish(secondOutput, numFrames);
    for (RectifierFollowerHissBuzz* follower : {&first, &second}) {
        follower->needsUpdate = false;
        follower->ClearParameterChanges(false);
    }
}

/// Clears a state that has blown up, so that the decision works again by itself.
void RectifierFollowerHissBuzz::Finish(float* output, u32 numFrames) {
    const bool onePoleBlown = filter.onePole.Heal();
    const bool biquadBlown = filter.biquad.Heal();
    if (onePoleBlown || biquadBlown) {
        std::fill_n(output, numFrames, 0.0F);
    }
}

} // namespace Velmora::Processor
