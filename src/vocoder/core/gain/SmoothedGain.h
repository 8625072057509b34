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

/// Sends a smoother to a value over the coming samples; one that has no past to come from is there at once.
inline void GlideTo(dsp::SmootherLPF& smoother, float value, bool atOnce) {
    if (atOnce) {
        smoother.Set(value);
    }
    smoother.SetTarget(value);
}

/// Calls run(gain...), one gain for each smoother, where gain() steps the smoother and returns its value.
/// When all have arrived, none is stepped: run then gets constants, which gives the same samples for less.
/// The value stays in double precision: behind a filter of a very low corner the steps of a float gain add up
/// to a rumble.
template <class Run, class... Smoothers>
void WithSmoothedGains(Run&& run, Smoothers&... smoothers) {
    if ((smoothers.IsAtTarget() && ...)) {
        std::forward<Run>(run)([held = smoothers.current] { return held; }...);
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
    std::forward<Run>(run)(moving(smoothers)...);
}

} // namespace Velmora::Processor
