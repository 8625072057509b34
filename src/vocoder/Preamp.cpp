// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/Preamp.h"

#include "vocoder/AudioInput.h"
#include "vocoder/SmoothedGain.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

constexpr double highPassHz = 4.8;
constexpr double highPassQ = 0.32;
constexpr double inputGain = 2.8;
constexpr double stageGain = 17.529;

} // namespace

Preamp::Preamp(std::string moduleName)
    : UnitModule(std::move(moduleName), 2, 1,
                 {dsp::ModuleParam::Mapped("ProgramLevel", 4, -75.0F, 0.0F, -3.0F)}) {}

void Preamp::OnInitialize(float sampleRate, u32 maxBlockSize) {
    const double w = highPassHz * 6.2831855 / static_cast<double>(sampleRate);
    highPass.SetHighPass(w, std::sin(w) * (0.5 / highPassQ));
    gainSmoother.Prepare(sampleRate, 1);
    overload.Initialize(sampleRate, maxBlockSize);
}

void Preamp::OnReset(bool /*hard*/) {
    // The gain stays: the next update snaps it.
    highPass.Reset();
    overload.Reset();
}

bool Preamp::UpdateParameters(dsp::ProcessContext& context) {
    const float level = parameters[ProgramLevel].GetModulatedValue(context, 1);
    AimSmoother(gainSmoother, std::pow(10.0F, level * 0.05F), needsUpdate);
    return true;
}

bool Preamp::Process(dsp::ProcessContext& context) {
    float* block = context.outputs[0];
    const u32 numFrames = context.numFrames;
    CopyAudioInput(context.inputs[0], block, numFrames);
    WithSmoothedGain(gainSmoother, [&](auto gain) { Filter(block, numFrames, gain); });
    if (highPass.Heal()) {
        std::fill_n(block, numFrames, 0.0F);
    }
    overload.Update(block, numFrames);
    return true;
}

template <class Gain>
void Preamp::Filter(float* block, u32 numFrames, Gain gain) {
    dsp::BiquadSection section = highPass;
    for (u32 n = 0; n < numFrames; ++n) {
        const double x = inputGain * static_cast<double>(block[n]);
        block[n] = static_cast<float>(section.Tick(x, stageGain * static_cast<double>(gain())));
    }
    highPass = section;
}

} // namespace Velmora::Processor
