// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/filter/MultiModeFilterControls.h"
#include "dsp/effects/shared/SweptEffect.h"
#include "dsp/filters/StateVariablePair.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A stereo state-variable filter that goes smoothly from low-pass over band-pass and high-pass to notch,
/// with 12 or 24 dB per octave, saturation in front, and an oscillator and the loudness on the cutoff. Near
/// the top of the resonance it oscillates by itself, exactly at the cutoff; it then sounds on when the input
/// has ended.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent. Outputs: 0 left, 1
/// right, which may be the input buffers. A sample that is not a number or absurdly loud counts as 0, a null
/// input as silence.
///
/// A cutoff ends at 0.49 of the sample rate. Every control is smoothed. At a "DryWet" of 0 the output is the
/// input to the bit.
class MultiModeFilterPresetChromataFX final
    : public SweptEffect<MultiModeFilterSettings, MultiModeFilterControls> {
public:
    enum Parameter : u32 {
        /// 0..1, by amplitude.
        DryWet,
        /// Hz, 20..20000.
        Cutoff,
        /// 0..1: from a Butterworth response to self-oscillation, which begins at about 0.94.
        Resonance,
        /// 0..3: low-pass at 0, band-pass at 1, high-pass at 2, notch at 3, mixtures between.
        Mode,
        /// 0 for 12, 1 for 24 dB per octave.
        Slope,
        /// Saturation in front of the filter in dB, 0..36.
        Drive,
        /// Octaves between the cutoffs of the channels, -4..4; above 0 the right one is higher.
        StereoOffset,
        /// Octaves that full scale moves the cutoff, -6..6.
        EnvAmount,
        /// Times in ms, 1..500 and 5..2000.
        EnvAttack,
        EnvRelease,
        /// Octaves that the oscillator moves the cutoff either way, 0..4.
        LFOAmount,
        /// Cycles per second, 0.02..20.
        LFOFreq,
        /// A SweepLfoSettings::Shape before Pattern.
        LFOShape,
        /// When on, "SyncRate" and the tempo replace "LFOFreq", and a song that plays tells the phase.
        TempoSync,
        /// Length of a cycle: 32, 16, 12, 8, 6, 4, 3, 2, 3/2, 1, 2/3, 1/2 beats.
        SyncRate,
        /// Level of the wet sound in dB, -24..12.
        WetGain,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static constexpr auto modulationInputs = std::to_array<u32>({Cutoff, Resonance, Mode});
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({Cutoff, Resonance});

    explicit MultiModeFilterPresetChromataFX(std::string moduleName = "MultiModeFilter");

    bool Process(ProcessContext& context) override;

private:
    using Controls = MultiModeFilterControls;

    MultiModeFilterSettings ReadSettings(const ProcessContext& context) override;
    void ClearStages() override;

    void MoveCutoff();
    void FilterQuad(FrameQuad<Double2>& quad);

    /// Of the integrators, at the end of the quad before and of this one.
    Double2 startGain = Double2(0.0);
    Double2 endGain = Double2(0.0);
    /// What endGain belongs to.
    std::array<float, 2> lastOctaves{};
    StateVariablePair first;
    StateVariablePair second;
};

} // namespace Velmora::dsp
