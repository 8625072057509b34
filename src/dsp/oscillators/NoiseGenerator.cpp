// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/NoiseGenerator.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/Within.h"
#include "dsp/math/Xorshift.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace Velmora::dsp {

namespace {

/// 1 / 44100: levels are told relative to that rate.
constexpr float inverseReferenceRate = 2.2675737e-05F;

} // namespace

NoiseGenerator::NoiseGenerator(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, 1,
                 RecordsOf({Declare::Choice("NoiseType", TypeCount), Declare::Raw("NoiseColor")})),
      rngState(Xorshift::ClockSeed()) {}

void NoiseGenerator::Seed(u32 seed) { rngState = Xorshift::UsableState(seed); }

void NoiseGenerator::OnInitialize(float sampleRate, u32 maxBlockSize) {
    PrepareLevels(sampleRate);
    PreparePink(sampleRate);
    PrepareRed(sampleRate);
    PrepareBlue(sampleRate);
    scratch.assign(maxBlockSize, 0.0F);
}

void NoiseGenerator::PrepareLevels(float sampleRate) {
    const float octaves = std::log2(sampleRate * inverseReferenceRate);
    const float q = 1.0F / std::sqrt(sampleRate * inverseReferenceRate);
    deepRedGain = q * 0.2238721F;
    redGain = q * 0.029853828F;
    blueGain = 0.4216965F;
    if (sampleRate >= 48000.0F) {
        blueGain *= std::pow(10.0F, octaves * 6.5F * 0.05F + 0.065F);
    } else if (sampleRate > 44100.0F) {
        blueGain *= std::pow(10.0F, (sampleRate - 44100.0F) * 1.6666665e-05F);
    }
}

void NoiseGenerator::PreparePink(float sampleRate) {
    poleCoeffs.clear();
    poleGains.clear();
    // Poles two octaves apart; the last stays below the frequency at which its coefficient would reach 1.
    float frequency = 1.7F;
    while (frequency < sampleRate * 0.15915494F - 1.0F) {
        poleGains.push_back(std::pow(10.0F, -6.0F * static_cast<float>(poleGains.size()) * 0.05F));
        poleCoeffs.push_back(frequency * 6.2831855F * (1.0F / sampleRate));
        frequency *= 4.0F;
    }
    numPoles = static_cast<u32>(poleCoeffs.size());
    poleStates.assign(numPoles, 0.0F);
    const float level = sampleRate > 88200.0F ? std::log2(sampleRate * 1.1337868e-05F) + 3.5F
                                              : std::log2(sampleRate * inverseReferenceRate) * 3.5F;
    const float gainSum = std::accumulate(poleGains.begin(), poleGains.end(), 0.0F);
    pinkGain = std::pow(10.0F, level * 0.05F - std::log10(gainSum)) * 14.125375F;
}

void NoiseGenerator::PrepareRed(float sampleRate) {
    const float w = sampleRate * 0.015915494F;
    const float a = 1.0F / (w + 1.0F);
    redB = a * w;
    redA = (1.0F - w) * a;
}

void NoiseGenerator::PrepareBlue(float sampleRate) {
    float angle = 125663.71F / sampleRate;
    // The 20 kHz corner must lie below half the rate, or the poles leave the unit circle.
    constexpr float highestAngle = 0.49F * 6.2831855F;
    if (sampleRate < 44100.0F && angle > highestAngle) {
        angle = highestAngle;
    }
    const float cosine = std::cos(angle);
    const float alpha = std::sin(angle) * 0.70710677F;
    const float r = 1.0F / (alpha + 1.0F);
    blueB1 = (1.0F - cosine) * r;
    blueB0 = blueB2 = blueB1 * 0.5F;
    blueA1 = cosine * -2.0F * r;
    blueA2 = (1.0F - alpha) * r;
}

void NoiseGenerator::OnReset(bool /*hard*/) { ClearStates(); }

void NoiseGenerator::ClearStates() {
    std::fill(poleStates.begin(), poleStates.end(), 0.0F);
    redSum = redHighPassState = 0.0F;
    blueLast = blueState1 = blueState2 = 0.0F;
}

float NoiseGenerator::SumOfStates() const {
    const float others = redSum + redHighPassState + blueLast + blueState1 + blueState2;
    return std::accumulate(poleStates.begin(), poleStates.end(), others);
}

bool NoiseGenerator::UpdateParameters(ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(NoiseType)) {
        const u32 newType = ToIndex(Value(NoiseType), TypeCount);
        if (newType != type) {
            type = newType;
            ClearStates();
        }
    }
    if (Changed(NoiseColor)) {
        color = parameters[NoiseColor].GetNormalized();
    }
    return true;
}

bool NoiseGenerator::Process(ProcessContext& context) {
    float* out = context.outputs[0];
    const u32 count = context.numFrames;
    RenderWhite(out, count);
    switch (type) {
    case Blue:
        FilterBlue(out, count);
        break;
    case Pink:
        FilterPink(out, count);
        break;
    case Red:
        FilterRed(out, count);
        break;
    case DeepRed:
        FilterDeepRed(out, count);
        break;
    case Morph:
        RenderMorph(MorphPosition(context), out, count);
        break;
    default:
        break;
    }
    // A broken filter costs one silent block, not the sound for good.
    if (type != White && count > 0 && !std::isfinite(SumOfStates() + out[count - 1])) {
        ClearStates();
        std::fill_n(out, count, 0.0F);
    }
    for (u32 n = 0; n < count; ++n) {
        out[n] = Within(out[n], -1.0F, 1.0F);
    }
    return true;
}

/// White noise needs no filter and stays within its limits; each sequence waits for its own last number.
void NoiseGenerator::ProcessPair(NoiseGenerator& left, ProcessContext& leftContext, NoiseGenerator& right,
                                 ProcessContext& rightContext) {
    if (left.type != White || right.type != White) {
        left.Process(leftContext);
        right.Process(rightContext);
        return;
    }
    u32 leftState = left.rngState;
    u32 rightState = right.rngState;
    for (u32 n = 0; n < leftContext.numFrames; ++n) {
        leftContext.outputs[0][n] = NextWhite(leftState);
        rightContext.outputs[0][n] = NextWhite(rightState);
    }
    left.rngState = leftState;
    right.rngState = rightState;
}

/// 2^-32 scales the state to 0..1.
float NoiseGenerator::NextWhite(u32& state) {
    state = Xorshift::Next(state);
    return 2.0F * (static_cast<float>(state) * 2.3283064e-10F) - 1.0F;
}

void NoiseGenerator::RenderWhite(float* out, u32 count) {
    u32 state = rngState;
    for (u32 n = 0; n < count; ++n) {
        out[n] = NextWhite(state);
    }
    rngState = state;
}

void NoiseGenerator::FilterPink(float* buffer, u32 count) {
    for (u32 n = 0; n < count; ++n) {
        const float x = buffer[n];
        float sum = 0.0F;
        for (u32 pole = 0; pole < numPoles; ++pole) {
            const float c = poleCoeffs[pole];
            poleStates[pole] = (1.0F - c) * poleStates[pole] + c * x;
            sum += poleStates[pole] * poleGains[pole];
        }
        buffer[n] = sum * pinkGain;
    }
}

void NoiseGenerator::FilterRed(float* buffer, u32 count) {
    float sum = redSum;
    float state = redHighPassState;
    for (u32 n = 0; n < count; ++n) {
        sum += buffer[n];
        const float u = sum * redGain * redB;
        const float z = u + state;
        state = -u - z * redA;
        buffer[n] = z;
    }
    redSum = sum;
    redHighPassState = state;
}

void NoiseGenerator::FilterDeepRed(float* buffer, u32 count) {
    FilterPink(buffer, count);
    FilterRed(buffer, count);
    for (u32 n = 0; n < count; ++n) {
        buffer[n] *= deepRedGain;
    }
}

void NoiseGenerator::FilterBlue(float* buffer, u32 count) {
    float last = blueLast;
    float s1 = blueState1;
    float s2 = blueState2;
    for (u32 n = 0; n < count; ++n) {
        const float x = buffer[n];
        const float d = x - last;
        last = x;
        const float z = d * blueB0 + s1;
        s1 = (d * blueB1 - z * blueA1) + s2;
        s2 = blueB2 * d - z * blueA2;
        buffer[n] = z * blueGain;
    }
    blueLast = last;
    blueState1 = s1;
    blueState2 = s2;
}

float NoiseGenerator::MorphPosition(const ProcessContext& context) const {
    const float* offset = context.InputOrNull(0);
    return ClampToUnit(offset != nullptr ? color + offset[0] : color);
}

void NoiseGenerator::RenderMorph(float position, float* out, u32 count) {
    float* other = scratch.data();
    std::copy_n(out, count, other);
    float t = 0.0F;
    if (position < 0.25F) {
        FilterRed(out, count);
        FilterPink(other, count);
        t = position * 4.0F;
    } else if (position < 0.5F) {
        FilterPink(out, count);
        t = (position - 0.25F) * 4.0F;
    } else {
        FilterBlue(other, count);
        t = ((position - 0.5F) + position) - 0.5F;
    }
    for (u32 n = 0; n < count; ++n) {
        out[n] = t * other[n] + (1.0F - t) * out[n];
    }
}

} // namespace Velmora::dsp
