// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/CarrierPreamp.h"

#include "vocoder/AudioInput.h"
#include "vocoder/SmoothedGain.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

/// Half the corner in radians per second: 15.9 and 17.5 Hz.
constexpr double stage1HalfCorner = 49.998447;
constexpr double stage2HalfCorner = 54.946457;
constexpr double inputGain = 2.8;
constexpr double stage2Gain = -10.0;
constexpr double supplyVolts = 13.5;

} // namespace

CarrierPreamp::CarrierPreamp(std::string moduleName)
    : UnitModule(std::move(moduleName), 2, 1,
                 {dsp::ModuleParam::Mapped("CarrierLevel", 4, -75.0F, 0.0F, -3.0F)}) {}

void CarrierPreamp::OnInitialize(float sampleRate, u32 maxBlockSize) {
    stage1.SetHighPass(std::tan(stage1HalfCorner / static_cast<double>(sampleRate)));
    stage2.SetHighPass(std::tan(stage2HalfCorner / static_cast<double>(sampleRate)));
    gainSmoother.Prepare(sampleRate, 1);
    overload.Initialize(sampleRate, maxBlockSize);
}

void CarrierPreamp::OnReset(bool /*hard*/) {
    // The gain stays: the next update snaps it.
    stage1.Reset();
    stage2.Reset();
    overload.Reset();
}

bool CarrierPreamp::UpdateParameters(dsp::ProcessContext& context) {
    const float level = parameters[CarrierLevel].GetModulatedValue(context, 1);
    AimSmoother(gainSmoother, std::pow(10.0F, level * 0.05F), needsUpdate);
    return true;
}

bool CarrierPreamp::Process(dsp::ProcessContext& context) {
    float* block = context.outputs[0];
    const u32 numFrames = context.numFrames;
    CopyAudioInput(context.inputs[0], block, numFrames);
    WithSmoothedGain(gainSmoother, [&](auto gain) { Filter(block, numFrames, gain); });
    const bool firstBlown = stage1.Heal();
    const bool secondBlown = stage2.Heal();
    if (firstBlown || secondBlown) {
        std::fill_n(block, numFrames, 0.0F);
    }
    overload.Update(block, numFrames);
    return true;
}

template <class Gain>
void CarrierPreamp::Filter(float* block, u32 numFrames, Gain gain) {
    dsp::FirstOrderSection first = stage1;
    dsp::FirstOrderSection second = stage2;
    for (u32 n = 0; n < numFrames; ++n) {
        const double y = first.Tick(inputGain * static_cast<double>(block[n]), static_cast<double>(gain()));
        const double unclipped = second.Tick(y, stage2Gain);
        second.y1 = std::clamp(unclipped, -supplyVolts, supplyVolts);
        block[n] = static_cast<float>(second.y1);
    }
    stage1 = first;
    stage2 = second;
}

} // namespace Velmora::Processor
