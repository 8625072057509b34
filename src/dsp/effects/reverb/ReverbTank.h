// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/QuadDelayLine.h"
#include "dsp/effects/reverb/ReverbControls.h"
#include "dsp/effects/shared/StereoQuad.h"

#include <array>

namespace Velmora::dsp {

/// The signal path of the plate: low cut, pre-delay, high cut and diffusers, which make one channel of
/// clustered echoes; the loop in the shape of an eight that they run into; the taps of both outputs.
class ReverbTank {
public:
    using Float4 = simd::Float4;

    /// What changes in a quad: nothing but the swing; controls too; delays too.
    enum Pace { Settled, Moving, Gliding };

    void Allocate(float sampleRate);
    void Clear();
    /// To be called when the controls have jumped.
    void RestartSwing(const ReverbControls& controls);
    /// Four frames of the input, which must be finite, become the wet sound of both sides.
    template <Pace pace>
    StereoQuad Render(Float4 input, const ReverbControls& controls);
    /// What Render does when nothing sounds, over so many quads.
    void Swing(const ReverbControls& controls, u32 quads);
    /// True when something that is no sound runs round the loop.
    bool IsBroken() const;

    /// To be called when so many frames have been rendered under silence, and with none when there was sound.
    void CountSilence(u32 frames);
    /// Nothing but zeros is kept: under silence Render gives zeros, and only the swing goes on.
    bool IsAtRest() const;

private:
    using Controls = ReverbControls;

    void StepSwing(const Controls& controls);
    void StepPhase(const Controls& controls);
    template <Pace pace>
    Float4 Diffuse(Float4 input, const Controls& controls);
    template <Pace pace>
    Float4 RunHalf(u32 side, Float4 entry, const Controls& controls);
    template <Pace pace>
    Float4 ReadLine(u32 line, const Controls& controls) const;
    template <Pace pace>
    Float4 ReadSwung(u32 side, const Controls& controls) const;
    template <Pace pace>
    Float4 SumTaps(const ReverbPlate::Taps& taps, u32 first, const Controls& controls) const;
    template <class Visit>
    void VisitLines(Visit visit);

    std::array<QuadDelayLine, ReverbPlate::LineCount> lines;
    std::array<QuadDelayLine, ReverbPlate::inputDiffusers.size()> diffusers;
    std::array<u32, ReverbPlate::inputDiffusers.size()> diffuserDelays{};
    QuadDelayLine preDelay;
    QuadOnePole lowCut;
    QuadOnePole highCut;
    std::array<QuadOnePole, 2> damping;
    /// Of the two swung all-passes, in samples, before and at the end of the coming quad. A quarter of a
    /// cycle apart, so that the halves never swing alike.
    std::array<float, 2> swings{};
    std::array<float, 2> endSwings{};
    /// In cycles, 0 to below 1.
    double phase = 0.0;
    /// Since a sample that was not zero went into a line, as far as is known.
    u32 silentFrames = 0;
    u32 longestLine = 0;
};

} // namespace Velmora::dsp
