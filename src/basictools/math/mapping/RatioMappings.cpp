// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/RatioMappings.h"

#include "support/CException.h"

#include <cmath>

namespace Velmora::MappingTools {

HarmonicMapping::HarmonicMapping(float extremeRatio) : extreme(extremeRatio) {}

float HarmonicMapping::Map(float x) const {
    if (x < 0.5F) {
        return 1.0F / (2.0F * x * (1.0F - extreme) + extreme);
    }
    if (x == 0.5F) {
        return 1.0F;
    }
    return (2.0F * x - 1.0F) * (extreme - 1.0F) + 1.0F;
}

float HarmonicMapping::Unmap(float y) const {
    if (y < 1.0F) {
        return (0.5F / (1.0F - extreme)) * (1.0F / y - extreme);
    }
    if (y == 1.0F) {
        return 0.5F;
    }
    return (0.5F / (extreme - 1.0F)) * (y - 1.0F) + 0.5F;
}

SemiToneToFreqMapping::SemiToneToFreqMapping(float frequency, float semitonesPlusOne)
    : baseFrequency(frequency), semitones(semitonesPlusOne - 1.0F), octavesPerSemitone(1.0F / 12.0F),
      inverseBaseFrequency(1.0F / frequency), inverseSemitones(1.0F / semitones) {}

float SemiToneToFreqMapping::Map(float x) const {
    return baseFrequency * std::exp2(x * semitones * octavesPerSemitone);
}

float SemiToneToFreqMapping::Unmap(float y) const {
    return 12.0F * std::log2(y * inverseBaseFrequency) * inverseSemitones;
}

namespace {

constexpr const char* sourceName = "InversePotardMapping";

} // namespace

InversePotardMapping::InversePotardMapping(float minimum, float maximum)
    : min(minimum), inverseMax(1.0F / maximum), max(maximum), inverseMin(1.0F / minimum) {
    const bool isPositive = min > 0.0F && max > 0.0F;
    const bool isNegative = min < 0.0F && max < 0.0F;
    if (!isPositive && !isNegative) {
        throw CException("Inverse Mapping range should not cross 0 value", sourceName, 28);
    }
    if (!(min < max)) {
        throw CException("Max value must be bigger than min value", sourceName, 31);
    }
}

float InversePotardMapping::Map(float x) const {
    const float value = 1.0F / ((inverseMin - inverseMax) * x + inverseMax);
    return (value - min) / (max - min);
}

float InversePotardMapping::Unmap(float y) const {
    const float reciprocal = 1.0F / ((max - min) * y + min);
    return (reciprocal - inverseMax) / (inverseMin - inverseMax);
}

} // namespace Velmora::MappingTools
