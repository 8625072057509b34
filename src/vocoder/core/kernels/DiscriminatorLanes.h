// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

/// What the kernel of the hiss and buzz discriminator works on: four recursions side by side.
namespace Velmora::Processor {

/// Numbers that are stepped together, one per lane: the bands above the corner of the left and the right
/// channel, then those below it.
struct DiscriminatorLane {
    enum : u32 { HighLeft, HighRight, LowLeft, LowRight, Count };
};

/// Sections as dsp::BasicFirstOrderSection and dsp::BasicBiquadSection have them.
struct alignas(64) FirstOrderQuad {
    double b0[4] = {};
    double b1[4] = {};
    double a1[4] = {};
    double x1[4] = {};
    double y1[4] = {};

    /// Puts a section into a lane.
    template <class Section>
    void Load(const Section& s, u32 lane) {
        b0[lane] = s.b0;
        b1[lane] = s.b1;
        a1[lane] = s.a1;
        x1[lane] = s.x1;
        y1[lane] = s.y1;
    }
    /// Gives the state of a lane back.
    template <class Section>
    void Keep(Section& s, u32 lane) const {
        s.x1 = x1[lane];
        s.y1 = y1[lane];
    }
};

/// One with a second delay.
struct BiquadQuad : FirstOrderQuad {
    double b2[4] = {};
    double a2[4] = {};
    double x2[4] = {};
    double y2[4] = {};

    template <class Section>
    void Load(const Section& s, u32 lane) {
        FirstOrderQuad::Load(s, lane);
        b2[lane] = s.b2;
        a2[lane] = s.a2;
        x2[lane] = s.x2;
        y2[lane] = s.y2;
    }
    template <class Section>
    void Keep(Section& s, u32 lane) const {
        FirstOrderQuad::Keep(s, lane);
        s.x2 = x2[lane];
        s.y2 = y2[lane];
    }
};

/// Band filter and its gain, full-wave rectifier, smoothing filter of third order.
struct DiscriminatorLanes {
    BiquadQuad crossover;
    alignas(64) double bandGain[4] = {};
    /// The rectifier's two halves, input at or below 0 and above it, and what follows them.
    float gainNegative = 0.0F;
    float gainPositive = 0.0F;
    float currentToVoltage = 0.0F;
    FirstOrderQuad onePole;
    BiquadQuad smoother;
};

} // namespace Velmora::Processor
