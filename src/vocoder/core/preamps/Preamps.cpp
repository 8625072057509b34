// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/preamps/Preamps.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"
#include "dsp/vectors/SilenceFaults.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

using dsp::simd::Float4;

constexpr float overloadVolts = 9.3125F;
constexpr double programHighPassHz = 4.8;
constexpr double programHighPassQ = 0.32;
/// Half the corner in radians per second: 15.9 and 17.5 Hz.
constexpr double carrierHalfCorner1 = 49.998447;
constexpr double carrierHalfCorner2 = 54.946457;
/// The circuit of the analysis high-pass: two equal capacitors in farad, two resistors in ohm.
constexpr double capacitance = 2.2e-08;
constexpr double resistance1 = 20000.0;
constexpr double resistance2 = 39000.0;

/// The largest magnitude, searched in four lanes without a branch.
float FindPeak(const float* block, u32 numFrames) {
    Float4 peak(0.0F);
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        peak = xsimd::max(xsimd::abs(Float4::load_unaligned(block + n)), peak);
    }
    float lanes[Float4::size];
    peak.store_unaligned(lanes);
    return *std::max_element(std::begin(lanes), std::end(lanes));
}

ProgramCircuit<double> Join(const ProgramCircuit<double>& alone) { return alone; }
ProgramCircuit<dsp::Double2> Join(const ProgramCircuit<double>& left, const ProgramCircuit<double>& right) {
    return {dsp::Join(left.highPass, right.highPass)};
}
CarrierCircuit<double> Join(const CarrierCircuit<double>& alone) { return alone; }
CarrierCircuit<dsp::Double2> Join(const CarrierCircuit<double>& left, const CarrierCircuit<double>& right) {
    return {dsp::Join(left.stage1, right.stage1), dsp::Join(left.stage2, right.stage2)};
}

template <class T, class... Circuits>
void SplitState(const ProgramCircuit<T>& joined, Circuits&... circuits) {
    dsp::SplitState(joined.highPass, circuits.highPass...);
}
template <class T, class... Circuits>
void SplitState(const CarrierCircuit<T>& joined, Circuits&... circuits) {
    dsp::SplitState(joined.stage1, circuits.stage1...);
    dsp::SplitState(joined.stage2, circuits.stage2...);
}

} // namespace

void OverloadDetector::Reset() {
    overloadValue = 0.0F;
    smoother.Set(0.0F);
}

void OverloadDetector::Update(const float* block, u32 numFrames) {
    const float peak = FindPeak(block, numFrames);
    smoother.SetTarget(peak > overloadVolts ? peak - overloadVolts : 0.0F);
    overloadValue = std::clamp(smoother.SmootherLPF::Next(), 0.0F, 1.0F);
}

template <class T>
void ProgramCircuit<T>::Prepare(double sampleRate) {
    const double w = programHighPassHz * 6.2831855 / sampleRate;
    highPass.SetHighPass(w, std::sin(w) * (0.5 / programHighPassQ));
}

template <class T>
void CarrierCircuit<T>::Prepare(double sampleRate) {
    stage1.SetHighPass(std::tan(carrierHalfCorner1 / sampleRate));
    stage2.SetHighPass(std::tan(carrierHalfCorner2 / sampleRate));
}

template <class T>
void CarrierCircuit<T>::Reset() {
    stage1.Reset();
    stage2.Reset();
}

template <class T>
bool CarrierCircuit<T>::Heal() {
    const bool firstBlown = stage1.Heal();
    return stage2.Heal() || firstBlown;
}

template <template <class> class Circuit>
BasicPreamp<Circuit>::BasicPreamp(std::string moduleName)
    : UnitModule(
          std::move(moduleName), InputCount, 1,
          dsp::RecordsOf({dsp::Declare::Exponential(Circuit<double>::levelName, -75.0F, 0.0F, -3.0F)})) {}

template <template <class> class Circuit>
void BasicPreamp<Circuit>::OnInitialize(float sampleRate, u32 maxBlockSize) {
    circuit.Prepare(static_cast<double>(sampleRate));
    gainSmoother.Prepare(sampleRate, 1);
    overload.Prepare(sampleRate, maxBlockSize);
}

template <template <class> class Circuit>
void BasicPreamp<Circuit>::OnReset(bool /*hard*/) {
    // The gain stays: the next update snaps it.
    circuit.Reset();
    overload.Reset();
}

template <template <class> class Circuit>
bool BasicPreamp<Circuit>::UpdateParameters(dsp::ProcessContext& context) {
    const float level = parameters[Level].GetModulatedValue(context, LevelModulation);
    GlideTo(gainSmoother, levelGain.Of(level), needsUpdate);
    return true;
}

template <template <class> class Circuit>
bool BasicPreamp<Circuit>::Process(dsp::ProcessContext& context) {
    Run(dsp::ChannelBlock<BasicPreamp>{*this, context});
    return true;
}

template <template <class> class Circuit>
void BasicPreamp<Circuit>::ProcessPair(BasicPreamp& left, dsp::ProcessContext& leftContext,
                                       BasicPreamp& right, dsp::ProcessContext& rightContext) {
    Run(dsp::ChannelBlock<BasicPreamp>{left, leftContext},
        dsp::ChannelBlock<BasicPreamp>{right, rightContext});
}

template <template <class> class Circuit>
template <class... Channels>
void BasicPreamp<Circuit>::Run(const Channels&... channels) {
    (channels.module.TakeInput(channels.context), ...);
    auto joined = Join(channels.module.circuit...);
    WithSmoothedGains(
        [&](auto... gains) {
            auto local = joined;
            const auto amplify = [&](auto x) { return local.Amplify(x, dsp::Lanes(gains()...)); };
            const auto clip = [&](auto x) { return local.Clip(x); };
            dsp::ForEachFrame(dsp::ReadFrom(channels.context.outputs[0]...),
                              dsp::WriteTo(channels.context.outputs[0]...), dsp::FramesOf(channels...),
                              amplify, clip);
            joined = local;
        },
        channels.module.gainSmoother...);
    SplitState(joined, channels.module.circuit...);
    (channels.module.Finish(channels.context), ...);
}

/// Copies the input to the output, which is where the circuit works.
template <template <class> class Circuit>
void BasicPreamp<Circuit>::TakeInput(const dsp::ProcessContext& context) {
    const float* input = context.inputs[Audio];
    float* block = context.outputs[0];
    if (input == nullptr) {
        std::fill_n(block, context.numFrames, 0.0F);
    } else {
        dsp::AdmitInput(input, block, context.numFrames);
    }
    floor.AddTo(context.numFrames, block);
}

template <template <class> class Circuit>
void BasicPreamp<Circuit>::Finish(const dsp::ProcessContext& context) {
    if (circuit.Heal()) {
        std::fill_n(context.outputs[0], context.numFrames, 0.0F);
    }
    overload.Update(context.outputs[0], context.numFrames);
}

template class BasicPreamp<ProgramCircuit>;
template class BasicPreamp<CarrierCircuit>;

PreampAnalyzer::PreampAnalyzer(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, 1, std::vector<dsp::ModuleParam>()) {}

void PreampAnalyzer::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    const double meanResistance = std::sqrt(resistance1 * resistance2);
    const double w = 1.0 / (meanResistance * capacitance * static_cast<double>(sampleRate));
    highPass.SetHighPass(w, std::sin(w) / std::sqrt(resistance2 / resistance1));
}

bool PreampAnalyzer::Process(dsp::ProcessContext& context) {
    Run(dsp::ChannelBlock<PreampAnalyzer>{*this, context});
    return true;
}

void PreampAnalyzer::ProcessPair(PreampAnalyzer& left, dsp::ProcessContext& leftContext,
                                 PreampAnalyzer& right, dsp::ProcessContext& rightContext) {
    Run(dsp::ChannelBlock<PreampAnalyzer>{left, leftContext},
        dsp::ChannelBlock<PreampAnalyzer>{right, rightContext});
}

template <class... Channels>
void PreampAnalyzer::Run(const Channels&... channels) {
    auto section = dsp::Join(channels.module.highPass...);
    dsp::ForEachFrame(dsp::ReadFrom(channels.context.inputs[0]...),
                      dsp::WriteTo(channels.context.outputs[0]...), dsp::FramesOf(channels...),
                      [&](auto x) { return section.Tick(x); });
    dsp::SplitState(section, channels.module.highPass...);
    (channels.module.Finish(channels.context), ...);
}

void PreampAnalyzer::Finish(const dsp::ProcessContext& context) {
    if (highPass.Heal()) {
        std::fill_n(context.outputs[0], context.numFrames, 0.0F);
    }
}

} // namespace Velmora::Processor
