// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/HFChannel.h"

#include "dsp/CornerLimit.h"
#include "dsp/RunChild.h"
#include "vocoder/SmoothedGain.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

constexpr double beforeGateGain = 0.8912;
constexpr float openVolts = -15.0F;

} // namespace

HFChannel::HFChannel(std::string moduleName)
    : UnitModule(std::move(moduleName), 2, 1,
                 {dsp::ModuleParam::Mapped("FcHP", 1, 1.0F, 24000.0F, 1.0F),
                  dsp::ModuleParam::Mapped("QHP", 1, 0.0F, 2.0F, 1.0F),
                  dsp::ModuleParam::Mapped("H0HP", 1, -10.0F, 10.0F, 1.0F),
                  dsp::ModuleParam::Mapped("FcLP", 1, 1.0F, 24000.0F, 1.0F),
                  dsp::ModuleParam::Mapped("QLP", 1, 0.0F, 2.0F, 1.0F),
                  dsp::ModuleParam::Stepped("HFMode", 2, 0.0F, 1.0F), dsp::ModuleParam("HFLevel"),
                  dsp::ModuleParam::Mapped("AttackHF", 1, 0.1F, 1600.0F, 1.0F),
                  dsp::ModuleParam::Mapped("ReleaseHF", 1, 0.1F, 50.0F, 1.0F)}) {
    SetValue(FcHP, 5028.5923F);
    SetValue(QHP, 0.7102F);
    SetValue(H0HP, 1.592F);
    SetValue(FcLP, 15005.0F);
    SetValue(QLP, 0.70711F);
    gate.SetParameterValue(VCAGate::Pot, 0.087402F);
    gate.preGain = 10.438414F;
    gate.postGain = 39000.0F;
}

void HFChannel::OnInitialize(float newSampleRate, u32 maxBlockSize) {
    sampleRate = newSampleRate;
    gate.Initialize(newSampleRate, maxBlockSize);
    levelSmoother.Prepare(newSampleRate, 1);
    const u32 roundedBlock = dsp::RoundUpToFour(maxBlockSize);
    buffers.Allocate(3, roundedBlock);
    highPassed = buffers[0];
    gated = buffers[1];
    openControl = buffers[2];
    std::fill_n(openControl, roundedBlock, openVolts);
}

void HFChannel::OnReset(bool hard) {
    gate.Reset(hard);
    levelSmoother.Set(Value(HFLevel));
    for (dsp::BiquadSection* section : {&hp1, &hp2, &hp3, &lowPass}) {
        section->Reset();
    }
}

bool HFChannel::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(HFLevel)) {
        levelSmoother.SetTarget(Value(HFLevel));
    }
    UpdateFilters();
    if (Changed(HFMode)) {
        // What is not a mode, or no number, counts as gated.
        mode = Value(HFMode) >= 1.0F ? 1 : 0;
    }
    if (Changed(AttackHF)) {
        gate.SetParameterValue(VCAGate::FcGateAttack, Value(AttackHF));
    }
    if (Changed(ReleaseHF)) {
        gate.SetParameterValue(VCAGate::FcGateRelease, Value(ReleaseHF));
    }
    return true;
}

void HFChannel::UpdateFilters() {
    const double rate = static_cast<double>(sampleRate);
    if (Changed(FcHP) || Changed(QHP)) {
        const double w = dsp::LimitCorner(static_cast<double>(Value(FcHP)), rate) * 6.2831855 / rate;
        const double alpha = std::sin(w) * (0.5 / static_cast<double>(Value(QHP)));
        for (dsp::BiquadSection* section : {&hp1, &hp2, &hp3}) {
            section->SetHighPass(w, alpha);
        }
    }
    if (Changed(H0HP)) {
        outputGain = Value(H0HP);
    }
    if (Changed(FcLP) || Changed(QLP)) {
        const double w = dsp::LimitCorner(static_cast<double>(Value(FcLP)), rate) * 6.2831855 / rate;
        lowPass.SetLowPass(w, std::sin(w) * (0.5 / static_cast<double>(Value(QLP))));
    }
}

bool HFChannel::Process(dsp::ProcessContext& context) {
    const u32 numFrames = context.numFrames;
    const float* input = context.inputs[0];
    WithSmoothedGain(levelSmoother, [&](auto level) { FilterBeforeGate(input, numFrames, level); });

    const float* gateInputs[2] = {highPassed, mode == 1 ? openControl : context.inputs[1]};
    dsp::ProcessContext gateContext = context.ForChild(gateInputs, 2, &gated, 1);
    dsp::RunChild(gate, gateContext);

    FilterBehindGate(context.outputs[0], numFrames);
    if (Heal()) {
        std::fill_n(context.outputs[0], numFrames, 0.0F);
    }
    return true;
}

template <class Gain>
void HFChannel::FilterBeforeGate(const float* input, u32 numFrames, Gain level) {
    dsp::BiquadSection first = hp1;
    dsp::BiquadSection second = hp2;
    for (u32 n = 0; n < numFrames; ++n) {
        const double u = first.Tick(static_cast<double>(input[n]), static_cast<double>(level()));
        highPassed[n] = static_cast<float>(second.Tick(u) * beforeGateGain);
    }
    hp1 = first;
    hp2 = second;
}

void HFChannel::FilterBehindGate(float* output, u32 numFrames) {
    dsp::BiquadSection third = hp3;
    dsp::BiquadSection last = lowPass;
    const double gain = static_cast<double>(outputGain);
    for (u32 n = 0; n < numFrames; ++n) {
        const double p = third.Tick(static_cast<double>(gated[n]), gain);
        output[n] = static_cast<float>(last.Tick(p));
    }
    hp3 = third;
    lowPass = last;
}

/// True when any section had to be cleared.
bool HFChannel::Heal() {
    bool blown = false;
    for (dsp::BiquadSection* section : {&hp1, &hp2, &hp3, &lowPass}) {
        blown = section->Heal() || blown;
    }
    return blown;
}

} // namespace Velmora::Processor
