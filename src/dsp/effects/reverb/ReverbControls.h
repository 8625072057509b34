// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/DelayGlide.h"
#include "dsp/effects/reverb/ReverbPlate.h"
#include "dsp/filters/QuadOnePole.h"
#include "dsp/smoothing/GlidingControls.h"

#include <array>

namespace Velmora::dsp {

/// The settings of a reverb in their own units, within the bounds that it can render.
struct ReverbSettings {
    static constexpr float longestPreDelaySeconds = 0.5F;
    static constexpr float smallestSize = 0.25F;
    static constexpr float largestSize = 2.0F;
    /// The low-passes are off at the highest corner.
    static constexpr float lowestCutHz = 20.0F;
    static constexpr float highestCutHz = 20000.0F;
    static constexpr float mostDiffusion = 0.9F;
    static constexpr float fastestHz = 10.0F;
    static constexpr float deepestMs = 1.0F;

    float mix = 0.0F;
    float preDelaySeconds = 0.0F;
    float decaySeconds = 1.0F;
    float size = 1.0F;
    float dampingHz = highestCutHz;
    float lowCutHz = lowestCutHz;
    float highCutHz = highestCutHz;
    float inputDiffusion1 = 0.0F;
    float inputDiffusion2 = 0.0F;
    float decayDiffusion1 = 0.0F;
    float decayDiffusion2 = 0.0F;
    float modRateHz = 0.0F;
    float modDepthMs = 0.0F;
    float width = 1.0F;
    bool frozen = false;
    float wetGainDb = 0.0F;

    bool operator==(const ReverbSettings&) const = default;
};

/// Turns the settings of a reverb into the numbers of its signal path, and lets these glide.
class ReverbControls {
public:
    using Float4 = simd::Float4;

    enum Group : u32 { Mix, Diffusion, Filters, FirstGains, GroupCount = FirstGains + 6 };
    enum MixLane : u32 { Dry, WetDirect, WetOther, Entry };
    enum DiffusionLane : u32 { Input1, Input2, Decay1, Decay2 };
    enum FilterLane : u32 { LowCut, HighCut, Damping, SwingSamples };
    static constexpr u32 filterCount = 3;
    /// Delays: the lines of the tank by their own numbers, then the taps, then the one before all.
    enum Delays : u32 {
        LeftTaps = ReverbPlate::LineCount,
        RightTaps = LeftTaps + ReverbPlate::tapsPerSide,
        PreDelay = RightTaps + ReverbPlate::tapsPerSide,
        DelayCount
    };

    void Prepare(float rate);
    void SetTargets(const ReverbSettings& settings);
    void JumpToTargets();
    /// Advances by a quad of frames.
    void Step();
    bool IsMoving() const { return delays.IsGliding() || groups.IsMoving(); }

    const SmoothedLanes& operator[](Group group) const { return groups[group]; }
    /// What the wait in a line costs a sound, or that before a tap, with the sign of that.
    template <bool moving>
    Float4 Gain(u32 delay) const {
        constexpr u32 lanes = Float4::size;
        return groups[FirstGains + delay / lanes].Over<moving>(delay % lanes);
    }
    const DelayGlide& Delay() const { return delays; }
    const QuadOnePole::Coefficients& Filter(FilterLane lane) const { return filters[lane]; }
    /// Makes the input less its low-pass the low cut.
    float LowCutGain() const { return QuadOnePole::HighPassGain(groups[Filters].value[LowCut]); }
    /// In cycles.
    double SwingPerQuad() const { return swingPerQuad; }

    /// In samples: of a dimension of the plate at a size.
    static u32 Scaled(float dimension, float size, float rate);
    static u32 LongestPreDelay(float rate);
    static float DeepestSwing(float rate) { return ReverbSettings::deepestMs * 0.001F * rate; }

private:
    void SetSpeeds();
    void SetDelays(const ReverbSettings& settings);
    void SetLevels(const ReverbSettings& settings);
    void SetGains(const ReverbSettings& settings);
    float GainOf(u32 delay, const ReverbSettings& settings) const;
    float CutCoefficient(float hz) const;
    void RenewFilters();

    static_assert(DelayCount <= DelayGlide::count && GroupCount - FirstGains == DelayGlide::count / 4);

    GlidingControls<GroupCount, GroupCount> groups;
    std::array<QuadOnePole::Coefficients, filterCount> filters;
    DelayGlide delays;
    double swingPerQuad = 0.0;
    float sampleRate = 44100.0F;
};

} // namespace Velmora::dsp
