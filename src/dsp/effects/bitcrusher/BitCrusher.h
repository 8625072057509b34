// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/bitcrusher/BitCrusherControls.h"
#include "dsp/effects/bitcrusher/Quantiser.h"
#include "dsp/effects/bitcrusher/SampleHold.h"
#include "dsp/effects/shared/EffectUnit.h"
#include "dsp/filters/StereoLowPass.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A stereo bit and rate crusher. Each channel is sampled by a clock that is free of the engine's rate, each
/// sample is put on the steps of a converter, and held until the next. The steps of the hold are
/// band-limited: its images are those of a real converter, at their places and levels, without the aliases of
/// a step that waits for a frame.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent. Outputs: 0 left, 1
/// right, which may be the input buffers; 2 and 3, null or absent when not wanted, what the converter of each
/// channel adds to its samples, as plain steps, in the time of the other outputs. A sample that is not a
/// number or absurdly loud counts as 0, a null input as silence. Both the dry and the wet sound are
/// SampleHold::latency frames late.
class BitCrusher final : public EffectUnit<BitCrusherSettings, BitCrusherControls> {
public:
    enum Parameter : u32 {
        /// 0..1; the dry and the wet sound have much in common, so the fade is linear.
        DryWet,
        /// Of the converter, 1..16; fractions give steps in between.
        Bits,
        /// Of the hold in Hz, 100..48000; at the top the hold is off.
        SampleRate,
        /// 0..1: how far the length of a hold departs from its mean, at random.
        Jitter,
        /// Peak of triangular noise ahead of the converter in its steps, 0..1.
        Dither,
        /// The mu of the mu-law by which the steps grow with the level, 0 (all are equal) to 255.
        Curve,
        /// When on, a low-pass ahead of the hold keeps what it would fold.
        AntiAlias,
        /// Gain in dB ahead of the converter, which clips at full scale, -24..36. Above 0 it is taken back
        /// behind.
        Drive,
        /// Shift of the converter's levels in steps, 0..0.5: 0 has a level at zero, 0.5 has zero between two.
        Bias,
        /// Share of the samples of which one bit is wrong, 0..0.5.
        BitErrors,
        /// 0..1: from steps to ramps between the samples held.
        Slope,
        /// Corners in Hz of the wet sound, first and second order; "HighCut" is off at the top.
        LowCut,
        HighCut,
        /// Level of the wet sound in dB, -24..12.
        WetGain,
        /// 0..1: how much of a sample's error is taken off the next one, which moves the noise to the treble.
        Shaping,
        /// Cents between the clocks of left and right, 0..1200. A few let the images of both drift apart,
        /// which widens the sound and leaves its pitch alone.
        Split,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static constexpr auto modulationInputs =
        std::to_array<u32>({Bits, SampleRate, DryWet, Drive, Jitter, Curve, HighCut, Split});
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({Bits, SampleRate});

    explicit BitCrusher(std::string moduleName = "BitCrusher");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool Process(ProcessContext& context) override;
    /// In frames.
    static constexpr u32 Latency() { return SampleHold::latency; }

private:
    using Float4 = simd::Float4;
    using Controls = BitCrusherControls;
    /// Of left and right.
    using Pair = std::array<Float4, 2>;
    /// Of left and right: sound and error.
    using Outputs = std::array<SampleHold::Output, 2>;

    BitCrusherSettings ReadSettings(const ProcessContext& context) override;
    void StartMotion() override { SetUnits(); }
    void SetUnits();
    void ClearWhatIsBroken();

    template <bool moving>
    void RenderBlock(ProcessContext& context);
    template <bool moving>
    Outputs Crush(Pair frames);
    void FilterAhead(Pair& frames);
    Outputs Unheld();
    void FilterWet(Outputs& wet);
    Pair DelayDry(const Pair& frames);

    std::array<SampleHold, 2> holds;
    std::array<Quantiser, 2> quantisers{Quantiser(0x9E3779B9U), Quantiser(0x7F4A7C15U)};
    StereoLowPass<3> antiAlias;
    StereoLowPass<1> highCut;
    /// Lanes 0 and 1: left and right.
    Float4 lowCutState = Float4(0.0F);
    /// The dry sound as long as the hold is late.
    std::array<Pair, SampleHold::latency / Float4::size> dryPast{};
    u32 dryAt = 0;
};

} // namespace Velmora::dsp
