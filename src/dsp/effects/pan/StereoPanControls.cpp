// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/pan/StereoPanControls.h"

#include "dsp/math/CornerAngle.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Settings = StereoPanSettings;

constexpr double glideSeconds = 0.01;
/// Just above the bottom: a control position need not hit it exactly.
constexpr float bassOffHz = 1.0005F * Settings::lowestBassHz;

} // namespace

void StereoPanControls::Prepare(float rate) {
    sampleRate = rate;
    groups.Prepare(rate, glideSeconds, glideSeconds);
}

float StereoPanControls::DecayOver(float milliseconds) const {
    return std::exp(-4000.0F / (milliseconds * sampleRate));
}

void StereoPanControls::SetTargets(const StereoPanSettings& settings) {
    SetSource(settings);
    SetField(settings);
    groups[Motion].GlideTo({settings.pan, settings.panDepth, settings.levelDepth, 0.0F});
    const Float4 laws{0.0F, 1.0F, 2.0F, 3.0F};
    groups[Laws].GlideTo(
        xsimd::select(laws == Float4(static_cast<float>(settings.law)), Float4(1.0F), Float4(0.0F)));
}

void StereoPanControls::SetSource(const StereoPanSettings& settings) {
    const Float4 matrices[Settings::SourceCount] = {{1.0F, 0.0F, 0.0F, 1.0F},
                                                    {0.0F, 1.0F, 1.0F, 0.0F},
                                                    {1.0F, 0.0F, 1.0F, 0.0F},
                                                    {0.0F, 1.0F, 0.0F, 1.0F},
                                                    Float4(0.5F)};
    const bool turnsBoth = settings.polarity == Settings::InvertedBoth;
    const float left = turnsBoth || settings.polarity == Settings::InvertedLeft ? -1.0F : 1.0F;
    const float right = turnsBoth || settings.polarity == Settings::InvertedRight ? -1.0F : 1.0F;
    groups[SourceMatrix].GlideTo(matrices[settings.source] * Float4{left, left, right, right});
}

void StereoPanControls::SetField(const StereoPanSettings& settings) {
    const float mid = std::min(1.0F, 1.0F - settings.midSide);
    const float side = std::min(1.0F, 1.0F + settings.midSide) * settings.width;
    const float share = settings.bassHz > bassOffHz ? 1.0F : 0.0F;
    const float turn = std::min(settings.bassHz / sampleRate, highestCornerShare<float>);
    groups[Field].GlideTo(
        {0.5F * (mid + side), 0.5F * (mid - side), share, std::tan(std::numbers::pi_v<float> * turn)});
}

} // namespace Velmora::dsp
