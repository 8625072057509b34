// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/oscillators/SteadyPhase.h"
#include "support/platform/Types.h"

#include <string>

namespace Velmora::dsp {

/// The running phase of an oscillator, for the band-limited shapes that read it.
///
/// Inputs: 0 reset flags of the master, 1 its samples to wrap, 2 its samples since wrap, 3 frequency
/// modulation in Hz. Each may be null or absent: then nothing resets or modulates.
/// Outputs: 0 phase, 0 to 1; 1 increment per sample, negative when the phase runs down; 2 wrap flags, 1 on
/// the frame after a wrap or reset; 3 samples to the next wrap; 4 samples since the last one. Without wrap
/// data, outputs 2 to 4 are 0, largest float, largest float. Outputs may be the very buffers of the inputs.
///
/// The phase is a whole number of 2^-64 cycles: it wraps by itself, sums are exact, so that pitch does not
/// drift and nothing depends on how frames are grouped, and no broken input can stay in it. A frequency or
/// modulation that is not a number counts as 0.
class PolyBlepPhaseGen final : public UnitModule {
public:
    /// "frequency" is in Hz and may be negative; phases are 0 to 1; the rest are flags.
    enum Parameter : u32 { On, Frequency, Phase0, HSMaster, HSSlave, HSPhase0, FMOn, ParameterCount };
    static constexpr u32 parameterCount = ParameterCount;

    explicit PolyBlepPhaseGen(std::string moduleName = "PolyBlepPhaseGen");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// Loads "Phase0".
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

    /// Runs over a block without sync and FM whose phases the caller makes from this.
    SteadyPhase RunSteadily(u32 frames);

private:
    template <bool Master, bool Slave, bool Fm>
    void Run(const ProcessContext& context);
    void RunOff(const ProcessContext& context) const;
    void LoadStartPhase();
    /// The increment with a frequency in Hz added.
    double Modulated(float hertz) const;

    double inverseRate = 1.0 / 44100.0;
    /// Cycles per sample without modulation.
    double increment = 0.0;
    float startPhase = 0.0F;
    float resetPhase = 0.0F;
    bool isOn = false;
    bool isMaster = false;
    bool isSlave = false;
    bool isModulated = false;
    /// In units of 2^-64 cycles.
    u64 phase = 0;
};

} // namespace Velmora::dsp
