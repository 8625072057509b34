// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <array>

namespace Velmora::dsp {

/// A phase that runs on for ever: whole cycles and a fraction.
struct CycleCounter {
    u32 cycle = 0;
    double phase = 0.0;

    /// By less than one cycle, so many times.
    void Advance(double cycles, u32 times = 1) {
        for (; times != 0; --times) {
            phase += cycles;
            if (phase >= 1.0) {
                phase -= 1.0;
                ++cycle;
            }
        }
    }
};

/// The common low-frequency oscillator of the voices of a chorus, in lanes, and the slow drift that each
/// voice has for itself. Both are functions of the counters alone, so two channels with the same offsets get
/// the same values, and everything returns to the same start on Reset.
class ChorusLfo {
public:
    using Float4 = simd::Float4;

    /// Sine; triangle; a sine with a faster vibrato on top, as in string ensembles; a smooth random walk of
    /// one new value per cycle. All within -1..1.
    enum Shape : u32 { Sine, Triangle, DoubleSine, Random };
    static constexpr u32 shapeCount = 4;

    void Prepare(float sampleRate);
    void Reset();
    /// Moves on by quads of frames. The rate in Hz is limited to 20.
    void Advance(float hz, u32 quads = 1);

    /// The value of each voice. The weights of the shapes sum up to 1. Offsets in cycles, not negative.
    /// randomShift, in cycles: channels that differ in it by more than one have different random walks.
    Float4 Value(const std::array<float, shapeCount>& weights, Float4 offsets, float randomShift) const;

    /// A random walk of each voice within -1..1, one new value a second.
    Float4 Drift(float randomShift) const;

private:
    double quadSeconds = 0.0;
    CycleCounter main;
    CycleCounter drift;
};

} // namespace Velmora::dsp
