// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/phaser/PhaserControls.h"

#include "dsp/math/CornerAngle.h"
#include "dsp/math/Decibels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Velmora::dsp {

namespace {

using simd::Float4;

constexpr double levelSeconds = 0.01;
constexpr double cornerSeconds = 0.015;
/// Just below the top: a control position need not hit it exactly.
constexpr float openCutHz = 0.9995F * PhaserSettings::highestCutHz;

} // namespace

void PhaserControls::Prepare(float rate) {
    sampleRate = rate;
    SweptControls::Prepare(rate, levelSeconds, cornerSeconds);
}

void PhaserControls::SetTargets(const PhaserSettings& settings) {
    SetSweptTargets(settings, Drive, Corners);
    SetMix(settings);
    SetLoop(settings);
    SetStages(settings);
}

/// With a chain A the loop gives A / (1 - f A). Taken 1 + f times it makes, with the dry sound,
/// (1 + A) / (1 - f A): a notch wherever A is -1. Turned over, 1 - f does the same where A is 1. The norm
/// keeps the power of noise, for which A is a random phase.
void PhaserControls::SetMix(const PhaserSettings& settings) {
    const float f = settings.feedback;
    const float direct = f * (1.0F - settings.crossFeedback);
    const float angle = settings.mix * 0.5F * std::numbers::pi_v<float>;
    const float dry = settings.mix < 1.0F ? std::cos(angle) : 0.0F;
    const float wet = settings.mix > 0.0F ? std::sin(angle) : 0.0F;
    const float gain = wet * (settings.inverts ? direct - 1.0F : direct + 1.0F);
    const float norm = 1.0F / std::sqrt(dry * dry + gain * gain / (1.0F - f * f));
    groups[Mix].GlideTo(
        {wet > 0.0F ? norm * dry : 1.0F, norm * gain * DecibelsToGain(settings.wetGainDb), 0.0F, 0.0F});
}

void PhaserControls::SetLoop(const PhaserSettings& settings) {
    const float high =
        settings.highCutHz >= openCutHz ? highestCornerShare<float> * sampleRate : settings.highCutHz;
    groups[Loop].GlideTo({settings.feedback * (1.0F - settings.crossFeedback),
                          settings.feedback * settings.crossFeedback, CutGain(settings.lowCutHz),
                          CutGain(high)});
}

/// g / (1 + g), with g the gain of a trapezoidal integrator.
float PhaserControls::CutGain(float hz) const {
    const float g =
        std::tan(std::numbers::pi_v<float> * std::min(hz / sampleRate, highestCornerShare<float>));
    return g / (1.0F + g);
}

/// A pair that does not sound waits above the others.
void PhaserControls::SetStages(const PhaserSettings& settings) {
    const auto pairs = static_cast<float>(settings.pairs);
    const Float4 low{0.0F, 1.0F, 2.0F, 3.0F};
    const Float4 high = low + 4.0F;
    const auto presence = [pairs](Float4 number) {
        return xsimd::select(number < Float4(pairs), Float4(1.0F), Float4(0.0F));
    };
    groups[LowPresence].GlideTo(presence(low));
    groups[HighPresence].GlideTo(presence(high));
    const float distance = settings.pairs > 1 ? settings.spread / (pairs - 1.0F) : 0.0F;
    const Float4 middle(0.5F * (pairs - 1.0F));
    groups[LowOffsets].GlideTo(distance * (low - middle));
    groups[HighOffsets].GlideTo(distance * (high - middle));
}

} // namespace Velmora::dsp
