// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/SmootherLPF.h"

#include <utility>

namespace Velmora::Processor {

/// Gives a smoother its target for the coming block; one that has no past to come from jumps to it.
inline void AimSmoother(dsp::SmootherLPF& smoother, float value, bool jump) {
    if (jump) {
        smoother.Set(value);
    }
    smoother.SetTarget(value);
}

/// Calls run(gain), where gain() steps the smoother and returns its value. A smoother that has arrived is
/// not stepped at all: run then gets a constant, which gives the same samples for less.
template <class Run>
void WithSmoothedGain(dsp::SmootherLPF& smoother, Run&& run) {
    if (smoother.IsAtTarget()) {
        std::forward<Run>(run)([held = static_cast<float>(smoother.current)] { return held; });
    } else {
        std::forward<Run>(run)([&smoother] { return smoother.SmootherLPF::Next(); });
    }
}

} // namespace Velmora::Processor
