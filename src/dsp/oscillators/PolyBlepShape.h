// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <string>

namespace Velmora::dsp {

enum class BandLimitedWave : u32 { Saw, Square, Triangle };

/// A waveform in -1..1 without audible aliasing, from the outputs of a PolyBlepPhaseGen.
///
/// Saw: rises, 2 p - 1, its jump smoothed by the step residual. Square: +1 while the phase is below the pulse
/// width, else -1; the width is 0 to 1. Triangle: from -1 at phase 0 up to +1 at the width, and back to -1 at
/// phase 1, its corners smoothed by the integrated residual; the width is 0.001 to 0.999.
///
/// Inputs: 0 phase, 1 increment per sample, 2 reset flags, 3 samples to wrap, 4 samples since wrap, and for
/// waves with a width 5 pulse width, of which the triangle takes the fraction. Inputs 2 to 4 are read only
/// with "HSSlave" on, input 5 only with "PWMOn" on; they may be null or absent. Without "FMOn" the first
/// increment holds for the whole block. Output 0 may be the buffer of an input. "Off" gives 0; with "AAOn"
/// off the plain waveform comes out.
template <BandLimitedWave Wave>
class PolyBlepShape final : public UnitModule {
public:
    static constexpr bool hasWidth = Wave != BandLimitedWave::Saw;

    /// A wave without a width has neither PulseWidth nor PWMOn.
    enum Parameter : u32 {
        On,
        HSSlave,
        HSPhase0,
        AAOn,
        PulseWidth,
        PWMOn,
        FMOn = hasWidth ? PWMOn + 1 : PulseWidth,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;

    explicit PolyBlepShape(std::string moduleName = "PolyBlepShape");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

private:
    using Float4 = simd::Float4;

    bool ReadFlag(u32 id) { return Value(id) >= 0.5F; }
    /// Renders a block with the loop that the flags ask for. waveAt(n) gives the wave of the four frames from
    /// n on: its Value at phases, its Correction away from resets, and its CorrectionNearReset.
    template <class WaveAt>
    void Render(const ProcessContext& context, WaveAt waveAt);
    template <class WaveAt>
    static void RenderPlain(const ProcessContext& context, WaveAt waveAt);
    template <bool Sync, bool Fm, class WaveAt>
    void RenderAntiAliased(const ProcessContext& context, WaveAt waveAt);

    /// Forgets the last reset, so that no stale jump is corrected.
    void ForgetReset();
    /// The phase just before the last reset as each of four frames sees it.
    Float4 FollowResets(const float* flags, const float* samplesSince, Float4 phases, Float4 increments);

    bool isOn = false;
    bool isSlave = false;
    bool isAntiAliased = false;
    bool isModulated = false;
    bool isWidthModulated = false;
    float width = 0.0F;
    float startPhase = 0.0F;
    /// Just before the last reset.
    float lastPhase = 0.0F;
    /// Of the last frame.
    float previousPhase = 0.0F;
};

extern template class PolyBlepShape<BandLimitedWave::Saw>;
extern template class PolyBlepShape<BandLimitedWave::Square>;
extern template class PolyBlepShape<BandLimitedWave::Triangle>;

using PolyBlepSaw = PolyBlepShape<BandLimitedWave::Saw>;
using PolyBlepSquare = PolyBlepShape<BandLimitedWave::Square>;
using PolyBlepTriangle = PolyBlepShape<BandLimitedWave::Triangle>;

} // namespace Velmora::dsp
