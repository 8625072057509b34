// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/unvoiced/RectifierFollowerHissBuzz.h"

#include "dsp/framework/RunChild.h"
#include "dsp/vectors/Simd.h"

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
    using dsp::simd::Float4;
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        const Float4 x = Float4::load_unaligned(input + n);
        const Float4 gain = xsimd::select(x <= 0.0F, Float4(rectGainNegative), Float4(rectGainPositive));
        (x * gain * currentToVoltage).store_unaligned(output + n);
    }
}

/// The smoothing filter on a rectified block.
template <class T, class Input, class Output>
struct FilterRun {
    dsp::BasicFirstOrderSection<T> onePole;
    dsp::BasicBiquadSection<T> biquad;
    Input input;
    Output output;
};

using SoloRun = FilterRun<double, dsp::SoloInput, dsp::SoloOutput>;
using PairRun = FilterRun<dsp::Double2, dsp::PairInput, dsp::PairOutput>;

/// Advances filters together: none waits for the others.
template <class... Runs>
void RunFilters(u32 numFrames, Runs&... runs) {
    const auto stepQuad = [](auto& run, u32 n) {
        auto quad = run.input.Load(n);
        dsp::StepFrames(quad, [&run](auto x) { return run.onePole.Tick(x); });
        dsp::StepFrames(quad, [&run](auto x) { return run.biquad.Tick(x); });
        run.output.Store(n, quad);
    };
    for (u32 n = 0; n < numFrames; n += 4) {
        (stepQuad(runs, n), ...);
    }
}

} // namespace

RectifierFollowerHissBuzz::RectifierFollowerHissBuzz(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, 1, std::vector<dsp::ModuleParam>()) {}

void RectifierFollowerHissBuzz::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    const double rate = static_cast<double>(sampleRate);
    onePole.SetLowPass(std::tan(onePoleHalfCorner / rate));
    const double w = biquadCorner / rate;
    biquad.SetLowPass(w, std::sin(w) * biquadDamping);
}

void RectifierFollowerHissBuzz::OnReset(bool /*hard*/) {
    onePole.Reset();
    biquad.Reset();
}

bool RectifierFollowerHissBuzz::UpdateParameters(dsp::ProcessContext& /*context*/) { return true; }

bool RectifierFollowerHissBuzz::Process(dsp::ProcessContext& context) {
    float* output = context.outputs[0];
    Rectify(context.inputs[0], output, context.numFrames);
    SoloRun run{onePole, biquad, {output}, {output}};
    RunFilters(context.numFrames, run);
    onePole = run.onePole;
    biquad = run.biquad;
    FinishBlock(output, context.numFrames);
    return true;
}

void RectifierFollowerHissBuzz::ProcessPair(RectifierFollowerHissBuzz& left, dsp::ProcessContext& leftContext,
                                            RectifierFollowerHissBuzz& right,
                                            dsp::ProcessContext& rightContext) {
    float* leftOutput = leftContext.outputs[0];
    float* rightOutput = rightContext.outputs[0];
    const u32 numFrames = leftContext.numFrames;
    Rectify(leftContext.inputs[0], leftOutput, numFrames);
    Rectify(rightContext.inputs[0], rightOutput, numFrames);
    PairRun run{Join(left.onePole, right.onePole),
                Join(left.biquad, right.biquad),
                {leftOutput, rightOutput},
                {leftOutput, rightOutput}};
    RunFilters(numFrames, run);
    SplitState(run.onePole, left.onePole, right.onePole);
    SplitState(run.biquad, left.biquad, right.biquad);
    left.FinishBlock(leftOutput, numFrames);
    right.FinishBlock(rightOutput, numFrames);
}

void RectifierFollowerHissBuzz::RunPair(RectifierFollowerHissBuzz& first, const float* firstInput,
                                        float* firstOutput, RectifierFollowerHissBuzz& second,
                                        const float* secondInput, float* secondOutput, u32 numFrames) {
    dsp::ProcessContext context;
    context.numFrames = numFrames;
    dsp::ProcessContext firstContext = context.ForChild(&firstInput, 1, &firstOutput, 1);
    dsp::ProcessContext secondContext = context.ForChild(&secondInput, 1, &secondOutput, 1);
    ProcessPair(first, firstContext, second, secondContext);
    dsp::FinishChild(first);
    dsp::FinishChild(second);
}

void RectifierFollowerHissBuzz::RunPairs(const Port (&first)[2], const Port (&second)[2], u32 numFrames) {
    const auto start = [](const Port(&ports)[2]) {
        return PairRun{Join(ports[0].follower.onePole, ports[1].follower.onePole),
                       Join(ports[0].follower.biquad, ports[1].follower.biquad),
                       {ports[0].output, ports[1].output},
                       {ports[0].output, ports[1].output}};
    };
    const auto finish = [numFrames](const PairRun& run, const Port(&ports)[2]) {
        SplitState(run.onePole, ports[0].follower.onePole, ports[1].follower.onePole);
        SplitState(run.biquad, ports[0].follower.biquad, ports[1].follower.biquad);
        for (const Port& port : ports) {
            port.follower.FinishBlock(port.output, numFrames);
            dsp::FinishChild(port.follower);
        }
    };
    for (const Port* port : {&first[0], &first[1], &second[0], &second[1]}) {
        Rectify(port->input, port->output, numFrames);
    }
    PairRun firstRun = start(first);
    PairRun secondRun = start(second);
    RunFilters(numFrames, firstRun, secondRun);
    finish(firstRun, first);
    finish(secondRun, second);
}

/// Clears a state that has blown up, so that the decision works again by itself.
void RectifierFollowerHissBuzz::FinishBlock(float* output, u32 numFrames) {
    const bool onePoleBlown = onePole.Heal();
    const bool biquadBlown = biquad.Heal();
    if (onePoleBlown || biquadBlown) {
        std::fill_n(output, numFrames, 0.0F);
    }
}

} // namespace Velmora::Processor
