// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/FilterBanks.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace Velmora::Processor {

namespace {

using Biquads = ParallelCascadedBiquads;

// A third of an octave, 2^(1/3).
constexpr double thirdOctave = 1.2599211;
constexpr double lowPassStretch = 1.0733894;
constexpr double widthRange = 0.07;
// "Shift" moves the lower edge of band 2 by this many Hz in either direction.
constexpr float shiftRange = 69.0F;

/// What the plan never changes.
void SetTypes(Biquads& bank) {
    bank.SetBothStages(Biquads::Type, 1, Biquads::LowPass);
    bank.SetBothStages(Biquads::Quality, 1, BandPlan::lowPassQ);
    bank.SetBothStages(Biquads::Gain, 1, BandPlan::lowPassGain);
    for (u32 channel = 2; channel <= bandCount; ++channel) {
        bank.SetBothStages(Biquads::Type, channel, Biquads::BandPass);
        bank.SetBothStages(Biquads::Gain, channel, BandPlan::bandPassGain);
    }
}

void SetFrequencies(Biquads& bank, const BandPlan& plan) {
    bank.SetBothStages(Biquads::Frequency, 1, plan.lowPassHz);
    for (u32 channel = 2; channel <= bandCount; ++channel) {
        bank.SetBothStages(Biquads::Quality, channel, plan.bandPassQ);
        bank.SetParameterValue(Biquads::ParameterId(Biquads::Frequency, channel, 1),
                               plan.stage1Hz[channel - 2]);
        bank.SetParameterValue(Biquads::ParameterId(Biquads::Frequency, channel, 2),
                               plan.stage2Hz[channel - 2]);
    }
}

} // namespace

BandPlan::BandPlan(float lowerEdge, float width) {
    static const double neutralSpread = std::pow(thirdOctave, 0.4);
    const double spread = neutralSpread * (static_cast<double>(width) * widthRange + 1.0);
    bandPassQ = static_cast<float>(1.4 / (spread - 1.0 / spread));

    double low = lowerEdge;
    lowPassHz = static_cast<float>(std::sqrt(low * thirdOctave * low) * lowPassStretch);
    for (u32 i = 0; i < bandCount - 1; ++i) {
        const double high = low * thirdOctave;
        const double centre = std::sqrt(high * low);
        stage1Hz[i] = static_cast<float>(centre / spread);
        stage2Hz[i] = static_cast<float>(centre * spread);
        low = high;
    }
}

AnalyzerFilterBank::AnalyzerFilterBank(std::string moduleName)
    : ModuleContainer(std::move(moduleName), 1, bandCount, {}, std::make_tuple("FilterBank")) {
    SetTypes(Child<0>());
    SetFrequencies(Child<0>(), BandPlan(BandPlan::lowestEdge, 0.0F));
}

bool AnalyzerFilterBank::UpdateParameters(dsp::ProcessContext& context) {
    return Child<0>().UpdateParameters(context);
}

bool AnalyzerFilterBank::Process(dsp::ProcessContext& context) { return dsp::RunChild(Child<0>(), context); }

void AnalyzerFilterBank::FinishBlock() {
    Child<0>().FinishBlock();
    needsUpdate = false;
}

SynthesizerFilterBank::SynthesizerFilterBank(std::string moduleName)
    : LateParameters(std::move(moduleName), InputCount, 1,
                     dsp::RecordsOf({dsp::Declare::Linear("Shift", -1.0F, 1.0F),
                                     dsp::Declare::Linear("Width", -1.0F, 1.0F)}),
                     std::make_tuple("ParallelBiquadSIMD")) {
    SetTypes(Child<0>());
    Tune(AdditionalValue(Shift), AdditionalValue(Width));
}

/// A change of a filter's parameter is overridden by the next motion.
void SynthesizerFilterBank::CatchUp() {
    tunedShift = untuned;
    if (parametersBehind) {
        SetFrequencies(Child<0>(), plan);
        parametersBehind = false;
    }
}

void SynthesizerFilterBank::OnInitialize(float sampleRate, u32 maxBlockSize) {
    rate = sampleRate;
    shiftSmoother.Prepare(sampleRate, maxBlockSize);
}

/// The filters are read as they will sound, though the first block is still to come.
void SynthesizerFilterBank::OnReset(bool /*hard*/) {
    shiftSmoother.Set(AdditionalValue(Shift));
    Tune(AdditionalValue(Shift), AdditionalValue(Width));
}

void SynthesizerFilterBank::Tune(float shift, float width) {
    plan = BandPlan(shift * shiftRange + BandPlan::lowestEdge, width);
    SetFrequencies(Child<0>(), plan);
    parametersBehind = false;
    tunedShift = untuned;
}

/// Past the parameters, which would each be written and read again in every block.
void SynthesizerFilterBank::Move(float shift, float width) {
    Biquads& bank = Child<0>();
    if (IsTunedTo(shift, width) && bank.CanFollow()) {
        return;
    }
    const float lowPassQ[stageCount] = {bank.QualityOf(1, 1), bank.QualityOf(1, 2)};
    const bool isShared = twin != nullptr && twin->tuning != nullptr && twin->IsTunedTo(shift, width) &&
                          std::equal(std::begin(lowPassQ), std::end(lowPassQ), twin->tunedLowPassQ);
    plan = isShared ? twin->plan : BandPlan(shift * shiftRange + BandPlan::lowestEdge, width);
    if (!bank.CanFollow() || (!isShared && !ownTuning.Follow(plan, lowPassQ, rate))) {
        Tune(shift, width);
        return;
    }
    tuning = isShared ? twin->tuning : &ownTuning;
    bank.Follow(*tuning);
    tunedShift = shift;
    tunedWidth = width;
    std::copy_n(lowPassQ, stageCount, tunedLowPassQ);
    parametersBehind = true;
}

bool SynthesizerFilterBank::UpdateParameters(dsp::ProcessContext& context) {
    const bool modulated = context.ActiveModulation(ShiftModulation) != nullptr ||
                           context.ActiveModulation(WidthModulation) != nullptr;
    // The smoother steps on such blocks alone: after a single change it goes one step and no further. A reset
    // has put it where "Shift" is, and the filters follow.
    if (modulated || needsUpdate || AdditionalChanged(Shift) || AdditionalChanged(Width)) {
        shiftSmoother.SetTarget(additional.parameters[Shift].GetModulatedValue(context, ShiftModulation));
        const float shift = shiftSmoother.Next();
        Move(shift, additional.parameters[Width].GetModulatedValue(context, WidthModulation));
    }
    return Child<0>().UpdateParameters(context);
}

bool SynthesizerFilterBank::Process(dsp::ProcessContext& context) {
    auto& bank = Child<0>();
    // The bank sums its channels as it goes, which saves sixteen buffers on the way.
    for (u32 offset = 0; offset < context.numFrames; offset += LaneTile::maxFrames) {
        const u32 frames = std::min(LaneTile::maxFrames, context.numFrames - offset);
        bank.SumTile(context.inputs, offset, frames, context.outputs[0]);
    }
    bank.FinishBlock();
    return true;
}

void SynthesizerFilterBank::FinishBlock() {
    Child<0>().FinishBlock();
    needsUpdate = false;
    ClearParameterChanges(false);
}

} // namespace Velmora::Processor
