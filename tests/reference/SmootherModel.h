// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace orphia_reference {

/// Exponential approach to a target: five time constants fit in the set time, and the tail is cut once a
/// step would be below 1e-12 of the target.
struct SmootherModel {
    double target = 0.0;
    double current = 0.0;
    double coefficient = 0.0;
    double epsilon = 1e-12;

    /// `time` in seconds; each step advances by `samplesPerStep` samples.
    void Prepare(double time, double sampleRate, double samplesPerStep = 1.0);
    void SetTarget(double value);
    void Set(double value);
    double Next();
};

/// Two smoothers taking turns: one rises, the other falls, and each follows while the other works.
struct AttackReleaseModel {
    SmootherModel attack;
    SmootherModel release;
    double level = 0.0;

    /// Times in seconds to 1/e.
    void Prepare(double attackSeconds, double releaseSeconds, double sampleRate, double samplesPerStep = 1.0);
    void Set(double value);
    double Step(double target);
};

} // namespace orphia_reference
