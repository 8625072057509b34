// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/unvoiced/HFChannel.h"

#include "dsp/framework/RunChild.h"
#include "dsp/math/CornerLimit.h"
#include "vocoder/core/gain/SmoothedGain.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

constexpr double beforeGateGain = 0.8912;
constexpr float openVolts = -15.0F;

/// levels: one per channel.
template <class Input, class Output, class T, class... Gain>
void FilterBeforeGate(Input input, Output output, u32 numFrames, dsp::BasicBiquadSection<T>& hp1,
                      dsp::BasicBiquadSection<T>& hp2, Gain... levels) {
    dsp::BasicBiquadSection<T> first = hp1;
    dsp::BasicBiquadSection<T> second = hp2;
    const auto runFirst = [&](T x) { return first.Tick(x, dsp::Lanes(levels()...)); };
    const auto runSecond = [&](T x) { return second.Tick(x) * beforeGateGain; };
    dsp::ForEachFrame(input, output, numFrames, runFirst, runSecond);
    hp1 = first;
    hp2 = second;
}

template <class Input, class Output, class T>
void FilterBehindGate(Input input, Output output, u32 numFrames, dsp::BasicBiquadSection<T>& hp3,
                      dsp::BasicBiquadSection<T>& lowPass, T gain) {
    dsp::BasicBiquadSection<T> third = hp3;
    dsp::BasicBiquadSection<T> last = lowPass;
    const auto runThird = [&](T x) { return third.Tick(x, gain); };
    const auto runLast = [&](T x) { return last.Tick(x); };
    dsp::ForEachFrame(input, output, numFrames, runThird, runLast);
    hp3 = third;
    lowPass = last;
}

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

const float* HFChannel::GateControl(const dsp::ProcessContext& context) const {
    return mode == 1 ? openControl : context.inputs[1];
}

bool HFChannel::Process(dsp::ProcessContext& context) {
    const u32 numFrames = context.numFrames;
    WithSmoothedGain(levelSmoother, [&](auto level) {
        FilterBeforeGate(dsp::SoloInput{context.inputs[0]}, dsp::SoloOutput{highPassed}, numFrames, hp1, hp2,
                         level);
    });

    const float* gateInputs[2] = {highPassed, GateControl(context)};
    dsp::ProcessContext gateContext = context.ForChild(gateInputs, 2, &gated, 1);
    dsp::RunChild(gate, gateContext);

    FilterBehindGate(dsp::SoloInput{gated}, dsp::SoloOutput{context.outputs[0]}, numFrames, hp3, lowPass,
                     static_cast<double>(outputGain));
    Heal(context);
    return true;
}

void HFChannel::ProcessPair(HFChannel& left, dsp::ProcessContext& leftContext, HFChannel& right,
                            dsp::ProcessContext& rightContext) {
    const u32 numFrames = leftContext.numFrames;
    dsp::BiquadPair first = Join(left.hp1, right.hp1);
    dsp::BiquadPair second = Join(left.hp2, right.hp2);
    WithSmoothedGains(left.levelSmoother, right.levelSmoother, [&](auto leftLevel, auto rightLevel) {
        FilterBeforeGate(dsp::PairInput{leftContext.inputs[0], rightContext.inputs[0]},
                         dsp::PairOutput{left.highPassed, right.highPassed}, numFrames, first, second,
                         leftLevel, rightLevel);
    });
    SplitState(first, left.hp1, right.hp1);
    SplitState(second, left.hp2, right.hp2);

    const float* leftInputs[2] = {left.highPassed, left.GateControl(leftContext)};
    const float* rightInputs[2] = {right.highPassed, right.GateControl(rightContext)};
    dsp::ProcessContext leftGate = leftContext.ForChild(leftInputs, 2, &left.gated, 1);
    dsp::ProcessContext rightGate = rightContext.ForChild(rightInputs, 2, &right.gated, 1);
    dsp::RunPair(left.gate, leftGate, right.gate, rightGate);

    dsp::BiquadPair third = Join(left.hp3, right.hp3);
    dsp::BiquadPair last = Join(left.lowPass, right.lowPass);
    FilterBehindGate(dsp::PairInput{left.gated, right.gated},
                     dsp::PairOutput{leftContext.outputs[0], rightContext.outputs[0]}, numFrames, third, last,
                     dsp::Lanes(static_cast<double>(left.outputGain), static_cast<double>(right.outputGain)));
    SplitState(third, left.hp3, right.hp3);
    SplitState(last, left.lowPass, right.lowPass);
    left.Heal(leftContext);
    right.Heal(rightContext);
}

/// Silences a block in which any section had to be cleared.
void HFChannel::Heal(const dsp::ProcessContext& context) {
    bool blown = false;
    for (dsp::BiquadSection* section : {&hp1, &hp2, &hp3, &lowPass}) {
        blown = section->Heal() || blown;
    }
    if (blown) {
        std::fill_n(context.outputs[0], context.numFrames, 0.0F);
    }
}

} // namespace Velmora::Processor
