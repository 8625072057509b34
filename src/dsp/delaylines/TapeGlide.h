// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

/// A delay time that follows its target as a tape machine would: the tape takes up speed, runs at a limited
/// speed, and slows down to the target without passing it. What is heard is a bend of the pitch.
class TapeGlide {
public:
    void Prepare(float sampleRate) {
        const auto quads = static_cast<double>(sampleRate) * 0.25;
        approach = 1.0 / (approachSeconds * quads);
        inertia = 1.0 - std::exp(-1.0 / (inertiaSeconds * quads));
    }
    /// In samples.
    void GlideTo(double samples) { target = samples; }
    /// Arrives at once.
    void Arrive() {
        position = target;
        speed = 0.0;
    }
    double Position() const { return position; }

    /// Advances by a quad of frames.
    void Step() {
        const double way = target - position;
        // So close, the step to the target is far below what an interpolated tap can tell.
        if (std::abs(way) < 1e-4 && std::abs(speed) < 1e-4) {
            Arrive();
            return;
        }
        speed += (std::clamp(way * approach, -fastest, fastest) - speed) * inertia;
        position += speed;
    }

private:
    /// The first is above four times the second: no swing about the target.
    static constexpr double approachSeconds = 0.08;
    static constexpr double inertiaSeconds = 0.015;
    /// Samples per quad: three times the pitch one way, and as fast backwards as it was the other.
    static constexpr double fastest = 8.0;

    double position = 0.0;
    double target = 0.0;
    /// Samples per quad.
    double speed = 0.0;
    double approach = 1.0;
    double inertia = 1.0;
};

} // namespace Velmora::dsp
