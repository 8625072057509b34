// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/filters/HalfBand.h"

namespace Velmora::dsp {

/// Runs a stage for two channels at a multiple of the rate: 1, 2, 4 or 8. From 0.4535 of the rate (20 kHz at
/// 44100 Hz) down, images and aliases of the filters are suppressed by 104 dB at least, and the way up and
/// down has unity gain within 1e-4 dB. `depth` tells by how much the rate is raised already.
template <u32 factor, u32 depth = 1>
class Oversampler {
public:
    using Float4 = simd::Float4;
    static_assert(factor == 2 || factor == 4 || factor == 8);

    void Reset() {
        up.Reset();
        down.Reset();
        inner.Reset();
    }

    /// False when a filter state is not a number or has run away.
    bool IsSound() const { return up.IsSound() && down.IsSound() && inner.IsSound(); }

    /// Two frames of left and right through stage, which takes and gives two frames at the higher rate, in
    /// the order of time.
    template <class Stage>
    Float4 Run(Float4 frames, Stage&& stage) {
        const Float4 first = RunFrame(simd::FirstFrameTwice(frames), stage);
        const Float4 second = RunFrame(simd::SecondFrameTwice(frames), stage);
        return simd::JoinFrames(first, second);
    }

private:
    /// The first filter has 4.1 kHz of 44.1 kHz for its slope, the others have more than half their band.
    static constexpr u32 sectionCount = depth == 1 ? 4 : 2;
    static constexpr double passEdge = 20000.0 / 44100.0 / (2.0 * depth);

    template <class Stage>
    Float4 RunFrame(Float4 frame, Stage&& stage) {
        return down.Tick(inner.Run(up.Tick(frame), stage));
    }

    HalfBand<sectionCount, RateChange::Double> up{passEdge};
    HalfBand<sectionCount, RateChange::Halve> down{passEdge};
    Oversampler<factor / 2, 2 * depth> inner;
};

/// At the rate as it is.
template <u32 depth>
class Oversampler<1, depth> {
public:
    void Reset() {}
    bool IsSound() const { return true; }

    template <class Stage>
    simd::Float4 Run(simd::Float4 frames, Stage&& stage) {
        return stage(frames);
    }
};

} // namespace Velmora::dsp
