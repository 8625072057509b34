// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"

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

    /// Of the knob, 0 to 1.
    void Aim(float position);

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

} // namespace Velmora::dsp
