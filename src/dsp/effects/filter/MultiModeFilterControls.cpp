// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/filter/MultiModeFilterControls.h"

#include "dsp/math/Decibels.h"
#include "dsp/math/Within.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

constexpr double cutoffSeconds = 0.006;
constexpr double levelSeconds = 0.01;

/// Of a Butterworth filter: of second order, and the sharper half of one of fourth order.
constexpr float gentleDamping = 1.4142136F;
constexpr float steepDamping = 0.7653669F;
/// At full resonance the damping lies that far below 0 and rises with the energy of the oscillation, which
/// so settles at a peak of 0.5.
constexpr float excitation = 0.03F;
constexpr float limitPerEnergy = 4.0F * excitation;
/// The weight of a sharp band ends here, or an oscillation would not be heard.
constexpr float leastBandDamping = 0.02F;

/// 1 at a mode, 0 from its neighbours on.
float Near(float mode, float centre) { return Within(1.0F - std::abs(mode - centre), 0.0F, 1.0F); }

} // namespace

void MultiModeFilterControls::Prepare(float rate) {
    SweptControls::Prepare(rate, levelSeconds, cutoffSeconds);
}

void MultiModeFilterControls::SetTargets(const MultiModeFilterSettings& settings) {
    SetSweptTargets(settings, Drive, Corners);
    const float wet = settings.mix * DecibelsToGain(settings.wetGainDb);
    groups[Mix].GlideTo({1.0F - settings.mix, wet, settings.isSteep ? 1.0F : 0.0F, 0.0F});
    SetFilter(settings);
}

/// The band output is weighted such that noise keeps its power however narrow the band.
void MultiModeFilterControls::SetFilter(const MultiModeFilterSettings& settings) {
    const float r = settings.resonance;
    const float widest = settings.isSteep ? steepDamping : gentleDamping;
    const float rSquare = r * r;
    const float rFourth = rSquare * rSquare;
    const float damping = widest * (1.0F - r) * std::sqrt(1.0F - r) - excitation * rFourth * rFourth;
    groups[Loop].GlideTo({damping, limitPerEnergy * rFourth, 0.0F, 0.0F});

    const float notch = Near(settings.mode, 3.0F);
    const float band = Near(settings.mode, 1.0F);
    const float bandWeight = std::sqrt(widest * std::max(damping, leastBandDamping));
    groups[Outputs].GlideTo({Near(settings.mode, 0.0F) + notch, band * bandWeight,
                             Near(settings.mode, 2.0F) + notch, band * secondDamping});
}

} // namespace Velmora::dsp
