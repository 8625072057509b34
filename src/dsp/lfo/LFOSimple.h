// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/vectors/Simd.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A low-frequency oscillator with few controls, in Hz or in note lengths. In note lengths, while the song
/// plays, it draws its cycle onto that of the song; a jump of the song becomes a short glide of the phase.
///
/// No inputs. Outputs: 0 the value in -1..1 per frame, 1 the same `shift` of a cycle ahead; either may be
/// missing. A change of rate keeps the phase.
class LFOSimple final : public UnitModule {
public:
    enum Parameter : u32 {
        /// Hz, 0.02 to 20. In note lengths its knob position picks one, see StraightBeats.
        Rate,
        /// A RateTypeValue.
        RateType,
        /// A ShapeValue.
        Shape,
        /// Of the start of the cycle, in degrees, 0 to 360.
        Phase,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    /// Straight, dotted (half as long again) and triplet (two thirds) notes.
    enum RateTypeValue : u32 { Hertz, Beats, Dotted, Triplet, RateTypeCount };
    /// A new value per cycle; the steps of the pattern, one cycle for all.
    enum ShapeValue : u32 { Sine, Triangle, RampUp, RampDown, Square, Random, Steps, ShapeCount };

    static constexpr u32 stepCount = 16;
    using StepValues = std::array<float, stepCount>;

    explicit LFOSimple(std::string moduleName = "LFOSimple");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// The cycle starts anew.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

    /// What the shape "Steps" goes through, within -1..1.
    void SetSteps(const StepValues& values) { steps = values; }
    /// Of output 1 against output 0, in cycles, 0 to 1.
    void SetShift(float newShift) { shift = newShift; }

    static constexpr u32 lengthCount = 9;
    /// Of the straight notes at a position of "Rate": 32 beats at 0, half as long at each of the nine steps
    /// up to an eighth of a beat at 1.
    static float StraightBeats(float ratePosition);

private:
    using Float4 = simd::Float4;

    double CycleBeats();
    void UpdateRate(const ProcessContext& context);
    void Render(float* out, u32 frames, double from) const;
    Float4 Values(double turns) const;
    float RandomValue(double turns) const;

    double sampleRate = 44100.0;
    /// Cycles per frame, of this block.
    double increment = 0.0;
    /// Cycles since the start.
    double cycles = 0.0;
    /// In cycles.
    double startPhase = 0.0;
    float shift = 0.0F;
    u32 shape = Sine;
    StepValues steps{};
};

} // namespace Velmora::dsp
