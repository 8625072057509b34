// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Velmora::MappingTools {

/// A ratio around 1: from 1 / extreme at the low end over 1 in the middle to the extreme at the high end, so
/// that equal turns to either side give reciprocal ratios. Yields the ratio itself.
class HarmonicMapping : public IPotardMapping {
public:
    /// extremeRatio is the ratio at the high end; it must not be 1, or Unmap is not defined.
    explicit HarmonicMapping(float extremeRatio);

    float Map(float x) const override;
    float Unmap(float y) const override;
    float GetShape() const override { return extreme; }
    bool IsAbsolute() const override { return true; }

private:
    float extreme;
};

/// A musical frequency knob: equal turns are equal intervals. Yields hertz.
class SemiToneToFreqMapping : public IPotardMapping {
public:
    /// frequency in hertz at position 0, above 0; semitonesPlusOne counts the keys of the range, both ends
    /// included, so 13 is one octave. It must not be 1, or Unmap is not defined.
    SemiToneToFreqMapping(float frequency, float semitonesPlusOne);

    float Map(float x) const override;
    float Unmap(float y) const override;

    /// The two constants as given.
    float GetShape() const override { return baseFrequency; }
    float GetShape2() const override { return semitones + 1.0F; }
    bool IsAbsolute() const override { return true; }

private:
    float baseFrequency;
    float semitones;
    float octavesPerSemitone;
    float inverseBaseFrequency;
    float inverseSemitones;
};

/// Runs straight in the reciprocal of the value, as a period against its frequency, and is then brought back
/// to 0..1. The knob runs backwards: position 0 gives 1, which is the maximum, and position 1 gives 0.
class InversePotardMapping : public IPotardMapping {
public:
    /// The range of the value itself. Throws CException when the range touches or crosses 0, or when minimum
    /// is not below maximum.
    InversePotardMapping(float minimum, float maximum);

    float Map(float x) const override;
    float Unmap(float y) const override;

    /// The minimum and the maximum of the range.
    float GetShape() const override { return min; }
    float GetShape2() const override { return max; }

private:
    float min;
    float inverseMax;
    float max;
    float inverseMin;
};

} // namespace Velmora::MappingTools
