// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"
#include "dsp/framework/RunChild.h"

namespace Velmora::dsp {

/// Runs the same child of two channels: what RunChild does for each, the left one first. The recursions of a
/// scalar stage wait for themselves most of the time; a module with a ProcessPair runs both channels in the
/// two lanes of one vector, to the same bits.
template <class M>
void RunPair(M& left, ProcessContext& leftContext, M& right, ProcessContext& rightContext) {
    if constexpr (requires { M::ProcessPair(left, leftContext, right, rightContext); }) {
        const bool leftRuns = ChildRuns(left, leftContext);
        const bool rightRuns = ChildRuns(right, rightContext);
        if (leftRuns && rightRuns && leftContext.numFrames == rightContext.numFrames) {
            M::ProcessPair(left, leftContext, right, rightContext);
            FinishChild(left);
            FinishChild(right);
            return;
        }
        if (leftRuns) {
            left.Process(leftContext);
            FinishChild(left);
        }
        if (rightRuns) {
            right.Process(rightContext);
            FinishChild(right);
        }
    } else {
        RunChild(left, leftContext);
        RunChild(right, rightContext);
    }
}

} // namespace Velmora::dsp
