// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/bitcrusher/BitCrusherControls.h"

#include "dsp/filters/StereoLowPass.h"
#include "dsp/math/Decibels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Velmora::dsp {

namespace {

constexpr double glideSeconds = 0.01;
/// Just below the tops: a control position need not hit them exactly.
constexpr float unheldHz = 0.9995F * BitCrusherSettings::highestRateHz;
constexpr float openCutHz = 0.9995F * BitCrusherSettings::highestCutHz;
/// The low-pass ahead of the hold is 19 dB down where the first image of its corner lies.
constexpr double antiAliasShare = 0.4;

} // namespace

void BitCrusherControls::Prepare(float sampleRate) {
    rate = static_cast<double>(sampleRate);
    groups.Prepare(sampleRate, glideSeconds, glideSeconds);
}

void BitCrusherControls::SetTargets(const BitCrusherSettings& settings) {
    const float gain = DecibelsToGain(settings.wetGainDb);
    const float unheld = settings.rateHz >= unheldHz ? 1.0F : 0.0F;
    groups[Levels].GlideTo(
        {1.0F - settings.mix, settings.mix * gain, DecibelsToGain(settings.driveDb), unheld});

    const float apart = std::exp2(settings.splitCents / 2400.0F);
    const float perFrame = settings.rateHz / static_cast<float>(rate);
    groups[Clock].GlideTo({std::min(perFrame / apart, 1.0F), std::min(perFrame * apart, 1.0F),
                           settings.jitter, settings.slope});
    groups[Steps].GlideTo({settings.bits, settings.bias, settings.mu, settings.shaping});
    groups[Noise].GlideTo({settings.dither, settings.bitErrors, settings.antiAlias ? 1.0F : 0.0F, 0.0F});

    const double highCut = settings.highCutHz >= openCutHz ? rate : static_cast<double>(settings.highCutHz);
    const double lowCut =
        -std::expm1(-2.0 * std::numbers::pi * static_cast<double>(settings.lowCutHz) / rate);
    groups[Filters].GlideTo(
        {StereoLowPass<1>::Setting(antiAliasShare * static_cast<double>(settings.rateHz), rate),
         StereoLowPass<1>::Setting(highCut, rate), static_cast<float>(lowCut), 0.0F});
}

} // namespace Velmora::dsp
