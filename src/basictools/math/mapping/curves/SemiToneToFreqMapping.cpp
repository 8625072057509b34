// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/curves/SemiToneToFreqMapping.h"

#include <cmath>

namespace Velmora::MappingTools {

SemiToneToFreqMapping::SemiToneToFreqMapping(float frequency, float semitonesPlusOne)
    : baseFrequency(frequency), semitones(semitonesPlusOne - 1.0F), octavesPerSemitone(1.0F / 12.0F),
      inverseBaseFrequency(1.0F / frequency), inverseSemitones(1.0F / semitones) {}

float SemiToneToFreqMapping::Map(float x) const {
    return baseFrequency * std::exp2(x * semitones * octavesPerSemitone);
}

float SemiToneToFreqMapping::Unmap(float y) const {
    return 12.0F * std::log2(y * inverseBaseFrequency) * inverseSemitones;
}

} // namespace Velmora::MappingTools
