// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/curves/IPotardMapping.h"

namespace Velmora::MappingTools {

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

} // namespace Velmora::MappingTools
