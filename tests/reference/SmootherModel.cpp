// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/SmootherModel.h"

#include <algorithm>
#include <cmath>

namespace orphia_reference {

void SmootherModel::Prepare(double time, double sampleRate, double samplesPerStep) {
    coefficient = 1.0 - std::exp(-5.0 / (sampleRate * time) * samplesPerStep);
}

void SmootherModel::SetTarget(double value) {
    if (value != target) {
        target = value;
        epsilon = std::max(std::abs(value) * 1e-12, 1e-20);
    }
}

void SmootherModel::Set(double value) { target = current = value; }

double SmootherModel::Next() {
    const double step = (target - current) * coefficient;
    current = std::abs(step) >= epsilon ? current + step : target;
    return current;
}

void AttackReleaseModel::Prepare(double attackSeconds, double releaseSeconds, double sampleRate,
                                 double samplesPerStep) {
    attack.Prepare(std::max(5.0 * attackSeconds, 1e-12), sampleRate, samplesPerStep);
    release.Prepare(std::max(5.0 * releaseSeconds, 1e-12), sampleRate, samplesPerStep);
}

void AttackReleaseModel::Set(double value) {
    attack.Set(value);
    release.Set(value);
    level = value;
}

double AttackReleaseModel::Step(double target) {
    SmootherModel& active = target > level ? attack : release;
    SmootherModel& follower = target > level ? release : attack;
    active.SetTarget(target);
    level = active.Next();
    follower.Set(level);
    return level;
}

} // namespace orphia_reference
