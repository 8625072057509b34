// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "vocoder/core/kernels/VocoderKernels.h"

#include <string>

namespace Velmora::Processor {

/// A slow gate on one signal: a limiter-shaped amplifier whose factor follows a control voltage through one
/// capacitor, which charges with the attack corner while the control is not above 0 and discharges with the
/// release corner while it is. The two first-order sections share their output, and the idle one's input is
/// set such that a switch causes no step: one state with two time constants.
///
/// Output: 0 the gated signal; the buffer must be neither of the inputs.
class VCAGate final : public dsp::UnitModule {
public:
    enum Parameter : u32 { Pot, FcGateAttack, FcGateRelease, ParameterCount };
    static constexpr u32 parameterCount = ParameterCount;
    /// The control is in volts: -15 opens, +15 closes.
    enum Input : u32 { Signal, Control, InputCount };

    explicit VCAGate(std::string moduleName = "VCAGate");

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(VCAGate& left, dsp::ProcessContext& leftContext, VCAGate& right,
                            dsp::ProcessContext& rightContext);

    /// Whether a control that keeps this level leaves the gate as it is.
    bool IsAtRest(float level) const { return BeginHeld(level).Rests(); }

    /// Replaces the kernel, which is otherwise the widest that the processor runs.
    void UseKernels(const VocoderKernels& set) { kernels = &set; }

    /// Written by the owner.
    float preGain = 0.0F;
    float postGain = 0.0F;
    /// The gate's factor at the end of the last block, 0 after an empty one.
    float lastGate = 0.0F;

private:
    /// What the gate's recursion comes to while the control holds its level: gate = feed - decay * gate.
    struct HeldLevel {
        double current;
        double firstFeed;
        double feed;
        double decay;
        double gate;

        /// No frame changes the gate any more.
        bool Rests() const { return firstFeed - decay * gate == gate && feed - decay * gate == gate; }
    };

    template <class... Channels>
    static void RunHeld(const Channels&... channels);
    HeldLevel BeginHeld(float level) const;
    void FinishHeld(float level, const HeldLevel& held);
    void Amplify(const dsp::ProcessContext& context);
    void AmplifyAtRest(const dsp::ProcessContext& context);
    /// Without factors by the one that the gate keeps.
    void AmplifyBy(const float* factors, const dsp::ProcessContext& context);
    void FollowControl(const float* control, float* gate, u32 numFrames);
    u32 RunAttack(const float* control, float* gate, u32 n, u32 numFrames);
    u32 RunRelease(const float* control, float* gate, u32 n, u32 numFrames);
    void FinishAttack(double x1, double g);
    void FinishRelease(double g);
    bool Heal();

    const VocoderKernels* kernels = &SelectVocoderKernels();
    double attackB0 = 0.0;
    double attackB1 = 0.0;
    double attackA1 = 0.0;
    double attackX1 = 0.0;
    double attackY1 = 0.0;
    double releaseB0 = 0.0;
    double releaseB1 = 0.0;
    double releaseA1 = 0.0;
    double releaseX1 = 0.0;
    double releaseY1 = 0.0;
    float inputAttenuation = 1.0F;
    float sampleRate = 1.0F;
};

} // namespace Velmora::Processor
