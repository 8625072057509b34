// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/distortion/DiodeClipper.h"
#include "dsp/vectors/StereoPair.h"

namespace Velmora::dsp {

/// The tone stage of the green pedal, for two channels: a low-pass of 1 kilohm and 220 nF, and an op-amp
/// whose pot of 20 kilohms moves 220 ohms with 220 nF from its input, where they take more treble, to its
/// feedback, where they give some back.
class TubeScreamerTone {
public:
    using Float4 = simd::Float4;

    /// rate in Hz of the calls of Tick.
    void Prepare(double sampleRate) { rate = sampleRate; }
    void Reset() { inputState = wiperState = Float4(0.0F); }
    bool IsSound() const;
    bool HasStateOf(const TubeScreamerTone& other) const {
        return xsimd::all(inputState == other.inputState && wiperState == other.wiperState);
    }

    /// Of the knob, 0 to 1.
    void Set(float position);

    /// Lanes 0 and 1 are left and right. The states stand for the voltages of the capacitors, which do not
    /// jump with the pot.
    Float4 Tick(Float4 volts) {
        const Float4 atOpAmp = (inputState + volts * inputWeight + wiperState * wiperWeight) * opAmpScale;
        const Float4 acrossBranch = atOpAmp - wiperState;
        inputState = atOpAmp + atOpAmp - inputState;
        wiperState += acrossBranch * wiperStep;
        return atOpAmp + acrossBranch * feedbackWeight;
    }

private:
    double rate = 176400.0;
    Float4 inputWeight = Float4(0.0F);
    Float4 wiperWeight = Float4(0.0F);
    Float4 opAmpScale = Float4(0.0F);
    Float4 wiperStep = Float4(0.0F);
    Float4 feedbackWeight = Float4(0.0F);
    Float4 inputState = Float4(0.0F);
    Float4 wiperState = Float4(0.0F);
};

/// The path of the green pedal for two channels: a high-pass that thins out the bass, the clipping stage, the
/// tone stage, and the capacitor at the output.
class TubeScreamerCircuit {
public:
    using Float4 = simd::Float4;

    /// What the knobs set.
    struct Setting {
        /// Of the clipping stage, in ohms.
        float resistance;
        /// 0..1, of the pot.
        float tone;
        /// In Hz.
        float lowCutHz;
        /// Into the diodes.
        float biasAmperes;
    };

    /// rate in Hz of the frames. Afterwards Set must be called.
    void Prepare(double newRate);
    void Reset();
    /// False when a state is not a number or has run away.
    bool IsSound() const;
    bool HasStateOf(const TubeScreamerCircuit& other) const {
        return clipper.HasStateOf(other.clipper) && tone.HasStateOf(other.tone) &&
               xsimd::all(bass == other.bass && steady == other.steady && steadyRest == other.steadyRest);
    }
    void Set(const Setting& setting);

    /// Two successive frames of left and right, in volts.
    Float4 Tick(Float4 volts) {
        const Float4 first = TickFrame(simd::FirstFrameTwice(volts));
        const Float4 second = TickFrame(simd::SecondFrameTwice(volts));
        const Float4 out = simd::JoinFrames(first, second) - steady;
        // Summed up with what rounding leaves out, or the last of it would stay.
        const Float4 both = simd::FirstFrameTwice(out) + simd::SecondFrameTwice(out);
        const Float4 more = both * steadyStep + steadyRest;
        const Float4 sum = steady + more;
        steadyRest = more - (sum - steady);
        steady = sum;
        return out;
    }

private:
    Float4 TickFrame(Float4 volts) {
        const Float4 thin = volts - bass;
        bass += thin * lowCutStep;
        return tone.Tick(clipper.Tick(thin));
    }

    double rate = 176400.0;
    DiodeClipper clipper;
    TubeScreamerTone tone;
    Float4 bass = Float4(0.0F);
    Float4 lowCutStep = Float4(0.0F);
    /// The voltage across the capacitor at the output, which the bias makes.
    Float4 steady = Float4(0.0F);
    Float4 steadyRest = Float4(0.0F);
    Float4 steadyStep = Float4(0.0F);
};

} // namespace Velmora::dsp
