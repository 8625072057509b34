// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/bitcrusher/Quantiser.h"

#include "dsp/math/Xorshift.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

/// -120 dB.
constexpr float silence = 1e-6F;
/// Below this the curve is straight within the precision of its formula.
constexpr float leastMu = 0.01F;

} // namespace

Quantiser::Quantiser(u32 seed) : firstRandom(Xorshift::UsableState(seed)), random(firstRandom) {}

void Quantiser::Reset() {
    error = 0.0F;
    random = firstRandom;
}

void Quantiser::Set(const QuantiserShape& newShape) {
    shape = newShape;
    stepWidth = std::exp2(1.0F - shape.bits);
    stepsPerUnit = std::exp2(shape.bits - 1.0F);
    bitCount = static_cast<u32>(std::ceil(shape.bits));
    if (shape.mu >= leastMu) {
        logOfMu = std::log1p(shape.mu);
        inverseLogOfMu = 1.0F / logOfMu;
    }
}

float Quantiser::Convert(float sample) {
    // A converter that is not fed is muted, whatever noise is set.
    if (std::abs(sample) < silence) {
        error = 0.0F;
        return 0.0F;
    }
    const float wanted = Compress(std::clamp(sample, -1.0F, 1.0F)) - shape.shaping * error;
    float noise = 0.0F;
    if (shape.dither > 0.0F) {
        noise = shape.dither * (Uniform() + Uniform() - 1.0F);
    }
    float code = std::floor(wanted * stepsPerUnit + noise + (0.5F + shape.bias));
    if (shape.bitErrors > 0.0F && Uniform() < shape.bitErrors) {
        code = WrongBit(code);
    }
    const float given = std::clamp((code - shape.bias) * stepWidth, -1.0F, 1.0F);
    // What the clip takes off is no matter of the steps.
    error = std::clamp(given - wanted, -stepWidth, stepWidth);
    return Expand(given);
}

float Quantiser::Compress(float x) const {
    return shape.mu < leastMu ? x
                              : std::copysign(std::log(1.0F + shape.mu * std::abs(x)) * inverseLogOfMu, x);
}

float Quantiser::Expand(float y) const {
    return shape.mu < leastMu ? y : std::copysign((std::exp(std::abs(y) * logOfMu) - 1.0F) / shape.mu, y);
}

/// Turns one bit of the code over, counted from the lowest level.
float Quantiser::WrongBit(float code) {
    const i32 lowest = -(1 << (bitCount - 1));
    const auto bit = static_cast<u32>(Uniform() * static_cast<float>(bitCount));
    const i32 word = static_cast<i32>(code) - lowest;
    return static_cast<float>((word ^ (1 << std::min(bit, bitCount - 1))) + lowest);
}

/// 0 to below 1.
float Quantiser::Uniform() {
    random = Xorshift::Next(random);
    return static_cast<float>(random >> 8) * 0x1p-24F;
}

} // namespace Velmora::dsp
