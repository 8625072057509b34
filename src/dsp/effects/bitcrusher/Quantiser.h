// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp {

/// How a converter puts samples on its steps.
struct QuantiserShape {
    /// 1..16, also fractions.
    float bits = 16.0F;
    /// Shift of the levels in steps, 0..0.5.
    float bias = 0.0F;
    /// Peak of triangular noise in steps.
    float dither = 0.0F;
    /// Of the mu-law, 0 or above.
    float mu = 0.0F;
    /// 0..1: how much of an error is taken off the next sample.
    float shaping = 0.0F;
    /// 0..1: share of samples with a wrong bit.
    float bitErrors = 0.0F;
};

/// The converter of one channel. Full scale is -1..1; a silent input gives silence whatever noise is set.
class Quantiser {
public:
    explicit Quantiser(u32 seed);

    void Reset();
    void Set(const QuantiserShape& shape);
    /// A finite sample as the converter gives it back.
    float Convert(float sample);

private:
    float Compress(float x) const;
    float Expand(float y) const;
    float WrongBit(float code);
    float Uniform();

    QuantiserShape shape;
    float stepWidth = 1.0F;
    float stepsPerUnit = 1.0F;
    /// ln(1 + mu), and its reciprocal.
    float logOfMu = 0.0F;
    float inverseLogOfMu = 0.0F;
    u32 bitCount = 16;

    float error = 0.0F;
    u32 firstRandom;
    u32 random;
};

} // namespace Velmora::dsp
