// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "dsp/framework/RunChild.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/core/gain/VCAGate.h"

#include <string>

namespace Velmora::Processor {

/// Passes the highest part of the program past the filter banks: a sixth-order high-pass in two parts around
/// a gate, and a second-order low-pass. "HFMode" 0 lets the hiss/buzz decision drive the gate, 1 holds it
/// open. "HFLevel" is a plain factor.
///
/// Inputs: the analysed program, the hiss control in volts. 1 output.
class HFChannel final : public dsp::UnitModule {
public:
    enum Parameter : u32 { FcHP, QHP, H0HP, FcLP, QLP, HFMode, HFLevel, AttackHF, ReleaseHF, ParameterCount };
    static constexpr u32 parameterCount = ParameterCount;
    enum Input : u32 { Program, HissControl, InputCount };

    explicit HFChannel(std::string moduleName = "HFChannel");

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(HFChannel& left, dsp::ProcessContext& leftContext, HFChannel& right,
                            dsp::ProcessContext& rightContext);

    /// Whether silence leaves it as it is while the control keeps its level. Of two filters in a row the
    /// second has the output of the first as its past.
    bool IsAtRest(float hissControl) const {
        return levelSmoother.IsAtTarget() && hp2.IsAtRest() && lowPass.IsAtRest() &&
               gate.IsAtRest(mode == 1 ? openControl[0] : hissControl);
    }

    void UseKernels(const VocoderKernels& set) { gate.UseKernels(set); }

private:
    template <class... Channels>
    static void Run(const Channels&... channels);
    template <class... Channels>
    static void FilterBeforeGate(const Channels&... channels);
    template <class... Channels>
    static void FilterBehindGate(const Channels&... channels);
    static void Gate(const dsp::ChannelBlock<HFChannel>& channel);
    static void Gate(const dsp::ChannelBlock<HFChannel>& left, const dsp::ChannelBlock<HFChannel>& right);
    void UpdateFilters();
    dsp::ProcessContext GateContext(const dsp::ProcessContext& context, const float* (&inputs)[2]);
    void Heal(const dsp::ProcessContext& context);

    dsp::BiquadSection hp1;
    dsp::BiquadSection hp2;
    dsp::BiquadSection hp3;
    dsp::BiquadSection lowPass;
    VCAGate gate;
    dsp::SmootherLPF levelSmoother{0.1};
    float sampleRate = 1.0F;
    /// 0: gated by the decision, 1: open.
    i32 mode = 0;
    double outputGain = 0.0;

    dsp::BlockPool buffers;
    float* highPassed = nullptr;
    float* gated = nullptr;
    float* openControl = nullptr;
};

} // namespace Velmora::Processor
