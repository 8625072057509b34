// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cmath>

namespace orphia_reference {

/// Exponential approach to a target: five time constants fit in the set time, and the tail is cut once a
/// step would be below 1e-12 of the target.
struct SmootherModel {
    double target = 0.0;
    double current = 0.0;
    double coefficient = 0.0;
    double epsilon = 1e-12;

    /// `time` in seconds; each step advances by `samplesPerStep` samples.
    void Prepare(double time, double sampleRate, double samplesPerStep = 1.0) {
        coefficient = 1.0 - std::exp(-5.0 / (sampleRate * time) * samplesPerStep);
    }
    void SetTarget(double value) {
        if (value != target) {
            target = value;
            epsilon = std::max(std::abs(value) * 1e-12, 1e-20);
        }
    }
    void Set(double value) { target = current = value; }
    double Next() {
        const double step = (target - current) * coefficient;
        current = std::abs(step) >= epsilon ? current + step : target;
        return current;
    }
};

/// A control that is at its first value at once and approaches every later one.
struct GlideModel {
    SmootherModel smoother;
    bool first = true;

    GlideModel(double time, double sampleRate) { smoother.Prepare(time, sampleRate); }
    void BeginBlock(double value) {
        if (first) {
            smoother.Set(value);
            first = false;
        }
        smoother.SetTarget(value);
    }
    double Next() { return smoother.Next(); }
};

/// Two smoothers taking turns: one rises, the other falls, and each follows while the other works.
struct AttackReleaseModel {
    SmootherModel attack;
    SmootherModel release;
    double level = 0.0;

    /// Times in seconds to 1/e.
    void Prepare(double attackSeconds, double releaseSeconds, double sampleRate,
                 double samplesPerStep = 1.0) {
        attack.Prepare(std::max(5.0 * attackSeconds, 1e-12), sampleRate, samplesPerStep);
        release.Prepare(std::max(5.0 * releaseSeconds, 1e-12), sampleRate, samplesPerStep);
    }
    void Set(double value) {
        attack.Set(value);
        release.Set(value);
        level = value;
    }
    double Step(double target) {
        SmootherModel& active = target > level ? attack : release;
        SmootherModel& follower = target > level ? release : attack;
        active.SetTarget(target);
        level = active.Next();
        follower.Set(level);
        return level;
    }
};

} // namespace orphia_reference
