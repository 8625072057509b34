// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/unvoiced/HFChannel.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/CornerAngle.h"
#include "vocoder/core/gain/SmoothedGain.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::Processor {

namespace {

constexpr double beforeGateGain = 0.8912;
constexpr float openVolts = -15.0F;

} // namespace

HFChannel::HFChannel(std::string moduleName)
    : UnitModule(std::move(moduleName), InputCount, 1,
                 dsp::RecordsOf({dsp::Declare::Linear("FcHP", 1.0F, 24000.0F, 5028.5923F),
                                 dsp::Declare::Linear("QHP", 0.0F, 2.0F, 0.7102F),
                                 dsp::Declare::Linear("H0HP", -10.0F, 10.0F, 1.592F),
                                 dsp::Declare::Linear("FcLP", 1.0F, 24000.0F, 15005.0F),
                                 dsp::Declare::Linear("QLP", 0.0F, 2.0F, 0.70711F),
                                 dsp::Declare::Choice("HFMode", 2), dsp::Declare::Raw("HFLevel"),
                                 dsp::Declare::Linear("AttackHF", 0.1F, 1600.0F),
                                 dsp::Declare::Linear("ReleaseHF", 0.1F, 50.0F)})) {
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
    levelSmoother.Set(HeldValue(HFLevel));
    for (dsp::BiquadSection* section : {&hp1, &hp2, &hp3, &lowPass}) {
        section->Reset();
    }
}

bool HFChannel::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(HFLevel)) {
        levelSmoother.SetTarget(HeldValue(HFLevel));
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
        const double w = dsp::LimitCorner(static_cast<double>(HeldValue(FcHP)), rate) * 6.2831855 / rate;
        const double alpha = std::sin(w) * (0.5 / static_cast<double>(HeldValue(QHP)));
        for (dsp::BiquadSection* section : {&hp1, &hp2, &hp3}) {
            section->SetHighPass(w, alpha);
        }
    }
    if (Changed(H0HP)) {
        outputGain = static_cast<double>(HeldValue(H0HP));
    }
    if (Changed(FcLP) || Changed(QLP)) {
        const double w = dsp::LimitCorner(static_cast<double>(HeldValue(FcLP)), rate) * 6.2831855 / rate;
        lowPass.SetLowPass(w, std::sin(w) * (0.5 / static_cast<double>(HeldValue(QLP))));
    }
}

bool HFChannel::Process(dsp::ProcessContext& context) {
    Run(dsp::ChannelBlock<HFChannel>{*this, context});
    return true;
}

void HFChannel::ProcessPair(HFChannel& left, dsp::ProcessContext& leftContext, HFChannel& right,
                            dsp::ProcessContext& rightContext) {
    Run(dsp::ChannelBlock<HFChannel>{left, leftContext}, dsp::ChannelBlock<HFChannel>{right, rightContext});
}

template <class... Channels>
void HFChannel::Run(const Channels&... channels) {
    FilterBeforeGate(channels...);
    Gate(channels...);
    FilterBehindGate(channels...);
    (channels.module.Heal(channels.context), ...);
}

template <class... Channels>
void HFChannel::FilterBeforeGate(const Channels&... channels) {
    auto first = dsp::Join(channels.module.hp1...);
    auto second = dsp::Join(channels.module.hp2...);
    const auto filter = [&](auto... levels) {
        auto firstFilter = first;
        auto secondFilter = second;
        dsp::ForEachFrame(
            dsp::ReadFrom(channels.context.inputs[Program]...), dsp::WriteTo(channels.module.highPassed...),
            dsp::FramesOf(channels...), [&](auto x) { return firstFilter.Tick(x, dsp::Lanes(levels()...)); },
            [&](auto x) { return secondFilter.Tick(x) * beforeGateGain; });
        first = firstFilter;
        second = secondFilter;
    };
    WithSmoothedGains(filter, channels.module.levelSmoother...);
    dsp::SplitState(first, channels.module.hp1...);
    dsp::SplitState(second, channels.module.hp2...);
}

dsp::ProcessContext HFChannel::GateContext(const dsp::ProcessContext& context, const float* (&inputs)[2]) {
    inputs[0] = highPassed;
    inputs[1] = mode == 1 ? openControl : context.inputs[HissControl];
    return context.ForChild(inputs, 2, &gated, 1);
}

void HFChannel::Gate(const dsp::ChannelBlock<HFChannel>& channel) {
    const float* inputs[2];
    auto context = channel.module.GateContext(channel.context, inputs);
    dsp::RunChild(channel.module.gate, context);
}

void HFChannel::Gate(const dsp::ChannelBlock<HFChannel>& left, const dsp::ChannelBlock<HFChannel>& right) {
    const float* leftInputs[2];
    const float* rightInputs[2];
    auto leftContext = left.module.GateContext(left.context, leftInputs);
    auto rightContext = right.module.GateContext(right.context, rightInputs);
    dsp::RunPair(left.module.gate, leftContext, right.module.gate, rightContext);
}

template <class... Channels>
void HFChannel::FilterBehindGate(const Channels&... channels) {
    auto third = dsp::Join(channels.module.hp3...);
    auto last = dsp::Join(channels.module.lowPass...);
    const auto gain = dsp::Lanes(channels.module.outputGain...);
    dsp::ForEachFrame(
        dsp::ReadFrom(static_cast<const float*>(channels.module.gated)...),
        dsp::WriteTo(channels.context.outputs[0]...), dsp::FramesOf(channels...),
        [&](auto x) { return third.Tick(x, gain); }, [&](auto x) { return last.Tick(x); });
    dsp::SplitState(third, channels.module.hp3...);
    dsp::SplitState(last, channels.module.lowPass...);
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
