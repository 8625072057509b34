// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/BiquadSection.h"
#include "dsp/filters/FirstOrderSection.h"
#include "dsp/framework/UnitModule.h"
#include "dsp/math/SilenceFloor.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "vocoder/core/gain/SmoothedGain.h"

#include <string>

namespace Velmora::Processor {

/// The overload light of a preamp: how far the block's peak stands above the threshold in volts, smoothed
/// once per block. There is no hold time, so the light falls as fast as the smoother lets it.
class OverloadDetector {
public:
    /// sampleRate in Hz; maxBlockSize is the length of one step of the smoother in samples.
    void Prepare(float sampleRate, u32 maxBlockSize) { smoother.Prepare(sampleRate, maxBlockSize); }
    void Reset();
    /// Looks at a block of numFrames samples, a multiple of 4.
    void Update(const float* block, u32 numFrames);

    /// 0 (dark) to 1, reached at one volt above the threshold.
    float overloadValue = 0.0F;

private:
    dsp::SmootherLPF smoother{1.0 / 141.0};
};

/// Brings the program (modulator) to the level of the analysis circuit, through a second-order high-pass at
/// 4.8 Hz. It does not clip. T as in BasicBiquadSection.
template <class T>
struct ProgramCircuit {
    static constexpr const char* moduleName = "Preamp";
    static constexpr const char* levelName = "ProgramLevel";

    void Prepare(double sampleRate);
    void Reset() { highPass.Reset(); }
    bool Heal() { return highPass.Heal(); }
    bool IsAtRest() const { return highPass.IsAtRest(); }
    T Amplify(T x, T gain) { return highPass.Tick(inputGain * x, stageGain * gain); }
    T Clip(T x) { return x; }

    static constexpr double inputGain = 2.8;
    static constexpr double stageGain = 17.529;
    dsp::BasicBiquadSection<T> highPass;
};

/// Brings the carrier to the level of the vocoder's buses, through two first-order high-pass stages. The
/// second one inverts and clips at its supply; its capacitor sees the clipped voltage, so the clip sits
/// inside the recursion.
template <class T>
struct CarrierCircuit {
    static constexpr const char* moduleName = "CarrierPreamp";
    static constexpr const char* levelName = "CarrierLevel";

    void Prepare(double sampleRate);
    void Reset();
    bool Heal();
    /// The first stage has died away by then: its output is the past input of the second.
    bool IsAtRest() const { return stage2.IsAtRest(); }
    T Amplify(T x, T gain) { return stage1.Tick(inputGain * x, gain); }
    T Clip(T x) {
        stage2.y1 = dsp::ClipLanes(stage2.Tick(x, T(stage2Gain)), -supplyVolts, supplyVolts);
        return stage2.y1;
    }

    static constexpr double inputGain = 2.8;
    static constexpr double stage2Gain = -10.0;
    static constexpr double supplyVolts = 13.5;
    dsp::BasicFirstOrderSection<T> stage1;
    dsp::BasicFirstOrderSection<T> stage2;
};

/// One of the two inputs of the core. The level in dB moves the gain; the light shows how far the output
/// stands above the circuit's reach.
///
/// Inputs: 0 audio, 1 modulation of the level. Output: 0 the amplified signal in volts. Sound enters the core
/// here, so faulty samples stop here: one that is not a number, infinite or absurdly large counts as 0, as it
/// would otherwise stay in every filter behind, and one above +40 dBFS as that much: the circuit is
/// overdriven by either, but its followers would need half a second to come down. A null input is silence.
template <template <class> class Circuit>
class BasicPreamp final : public dsp::UnitModule {
public:
    enum Parameter : u32 { Level, ParameterCount };
    static constexpr u32 parameterCount = ParameterCount;
    enum Input : u32 { Audio, LevelModulation, InputCount };

    explicit BasicPreamp(std::string moduleName = Circuit<double>::moduleName);

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(BasicPreamp& left, dsp::ProcessContext& leftContext, BasicPreamp& right,
                            dsp::ProcessContext& rightContext);

    /// Whether silence leaves it as it is. The light has long been dark then: it falls faster than the
    /// circuit.
    bool IsAtRest() const { return gainSmoother.IsAtTarget() && circuit.IsAtRest(); }

    /// Read by the owner after Process.
    OverloadDetector overload;

private:
    template <class... Channels>
    static void Run(const Channels&... channels);
    void TakeInput(const dsp::ProcessContext& context);
    void Finish(const dsp::ProcessContext& context);

    dsp::SilenceFloor floor;
    Circuit<double> circuit;
    DecibelGain levelGain;
    dsp::SmootherLPF gainSmoother{0.1};
};

using Preamp = BasicPreamp<ProgramCircuit>;
using CarrierPreamp = BasicPreamp<CarrierCircuit>;
extern template class BasicPreamp<ProgramCircuit>;
extern template class BasicPreamp<CarrierCircuit>;

/// The second-order high-pass at 259 Hz between the program preamp and the analysis side. The dry path is
/// taken before it. 1 input, 1 output, no parameters.
class PreampAnalyzer final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 0;

    explicit PreampAnalyzer(std::string moduleName = "PreampAnalyzer");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool /*hard*/) override { highPass.Reset(); }
    bool UpdateParameters(dsp::ProcessContext& /*context*/) override { return true; }
    bool Process(dsp::ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(PreampAnalyzer& left, dsp::ProcessContext& leftContext, PreampAnalyzer& right,
                            dsp::ProcessContext& rightContext);

    bool IsAtRest() const { return highPass.IsAtRest(); }

private:
    template <class... Channels>
    static void Run(const Channels&... channels);
    void Finish(const dsp::ProcessContext& context);

    dsp::BiquadSection highPass;
};

} // namespace Velmora::Processor
