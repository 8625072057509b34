// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/Decibels.h"
#include "dsp/smoothing/SmootherLPF.h"

#include <limits>
#include <utility>

namespace Velmora::Processor {

/// The factor of a level in decibels. Levels stay for many blocks, so the last one is kept.
class DecibelGain {
public:
    float Of(float level) {
        if (level != lastLevel) {
            lastLevel = level;
            lastGain = dsp::DecibelsToGain(level);
        }
        return lastGain;
    }

private:
    float lastLevel = std::numeric_limits<float>::quiet_NaN();
    float lastGain = 1.0F;
};

/// Gives a smoother its target for the coming block; one that has no past to come from jumps to it.
inline void AimSmoother(dsp::SmootherLPF& smoother, float value, bool jump) {
    if (jump) {
        smoother.Set(value);
    }
    smoother.SetTarget(value);
}

/// Calls run(gain), where gain() steps the smoother and returns its value. A smoother that has arrived is
/// not stepped at all: run then gets a constant, which gives the same samples for less. The value stays in
/// double precision: behind a filter of a very low corner the steps of a float gain add up to a rumble.
template <class Run>
void WithSmoothedGain(dsp::SmootherLPF& smoother, Run&& run) {
    if (smoother.IsAtTarget()) {
        std::forward<Run>(run)([held = smoother.current] { return held; });
    } else {
        std::forward<Run>(run)([&smoother] {
            smoother.SmootherLPF::Next();
            return smoother.current;
        });
    }
}

/// The same for two channels: calls run(leftGain, rightGain). Where only one moves, the other is held.
template <class Run>
void WithSmoothedGains(dsp::SmootherLPF& left, dsp::SmootherLPF& right, Run&& run) {
    if (left.IsAtTarget() && right.IsAtTarget()) {
        std::forward<Run>(run)([held = left.current] { return held; },
                               [held = right.current] { return held; });
        return;
    }
    const auto moving = [](dsp::SmootherLPF& smoother) {
        return [&smoother, moves = !smoother.IsAtTarget()] {
            if (moves) {
                smoother.SmootherLPF::Next();
            }
            return smoother.current;
        };
    };
    std::forward<Run>(run)(moving(left), moving(right));
}

} // namespace Velmora::Processor
