// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/distortion/TubeScreamerControls.h"
#include "dsp/effects/shared/EffectUnit.h"
#include "dsp/filters/Oversampler.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A stereo overdrive after the circuit of the green pedal: diodes in the feedback of an op-amp, which clip
/// the middle and the treble while the bass passes clean, and an active tone control behind them. The circuit
/// runs at four times the rate below 66 kHz, at twice the rate below 132 kHz.
///
/// At 44100 Hz and the start values, the strongest alias below 20 kHz of a sine of half full scale is 78 dB
/// down up to 2.5 kHz and 56 dB at 5 kHz. Above 20 kHz, on the slope of the filters, it may be 50 dB down.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent. Outputs: 0 left, 1
/// right, which may be the input buffers. A sample that is not a number or absurdly loud counts as 0, a null
/// input as silence.
///
/// The filters of the oversampling are recursive and delay the bass by 4.3 frames (3.2 at twice the rate),
/// the treble by a few more. The dry sound takes the same way, so that both stay together at every frequency.
class TubeScreamer808 final : public EffectUnit<TubeScreamerSettings, TubeScreamerControls> {
public:
    enum Parameter : u32 {
        /// 0..1; the dry and the wet sound have much in common, so the fade is linear.
        DryWet,
        /// Gain in dB of the clipping stage for small treble: 21.5..41.4, the range of the pot.
        Drive,
        /// Position of the pot, 0 (dark) to 1 (bright).
        Tone,
        /// Gain in dB ahead of the circuit, -24..24, taken back behind it as loudness has it.
        Input,
        /// Corner in Hz ahead of the circuit, first order, 20..1000: tightens the bass.
        LowCut,
        /// Level of the wet sound in dB, -60..12. At -22 it is about as loud as the dry sound, whatever the
        /// drive.
        Level,
        /// -1..1: moves the rest point of the diodes, which then clip one half of the wave earlier.
        Bias,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static constexpr auto modulationInputs = std::to_array<u32>({Drive, Tone, Level, DryWet});
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({Drive, Tone});

    explicit TubeScreamer808(std::string moduleName = "TS808");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool Process(ProcessContext& context) override;
    /// Of the bass, in whole frames.
    u32 Latency() const { return factorInUse == 4 ? 4 : factorInUse == 2 ? 3 : 0; }

private:
    using Float4 = simd::Float4;

    using Controls = TubeScreamerControls;

    TubeScreamerSettings ReadSettings(const ProcessContext& context) override;
    void StartMotion() override { SetCircuit(circuit); }
    void SetCircuit(TubeScreamerCircuit& into) const;
    void ClearWhatIsBroken();

    template <u32 factor>
    void Render(Oversampler<factor>& oversampler, ProcessContext& context);
    template <bool moving, u32 factor>
    void RenderFrames(Oversampler<factor>& oversampler, const ProcessContext& context, u32 first, u32 end);

    u32 factorInUse = 4;

    Oversampler<1> atRate;
    Oversampler<2> atTwice;
    Oversampler<4> atFourTimes;
    TubeScreamerCircuit circuit;
};

} // namespace Velmora::dsp
