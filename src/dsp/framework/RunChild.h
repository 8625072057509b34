// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"

namespace Velmora::dsp {

/// The control-rate tick of a child; true when its block may run: the tick agrees and the channels fit.
template <class M>
bool ChildRuns(M& child, ProcessContext& context) {
    return child.UpdateParameters(context) && context.numInputs <= child.numInputs &&
           context.numOutputs <= child.numOutputs;
}

/// What follows a child's block.
template <class M>
void FinishChild(M& child) {
    child.needsUpdate = false;
    child.ClearParameterChanges(false);
}

/// A module and the block that it is about to run, for those that run several together.
template <class M>
struct ModuleRun {
    M* module;
    ProcessContext context;
};

/// How a parent runs a child, everywhere in the tree: control-rate tick, then the block when the tick
/// agrees and the channels fit. Otherwise the child is skipped and its outputs stay as they were.
/// Returns the result of Process, false for a skipped child. M is the child's own class, so that calls to
/// final classes need no virtual dispatch.
template <class M>
bool RunChild(M& child, ProcessContext& context) {
    if (!ChildRuns(child, context)) {
        return false;
    }
    const bool result = child.Process(context);
    FinishChild(child);
    return result;
}

/// A module with its block. A stage that is written over a pack of these runs one channel or two side by side
/// by the same code.
template <class M>
struct ChannelBlock {
    M& module;
    const ProcessContext& context;
};

/// The length that the blocks have in common.
template <class First, class... Rest>
u32 FramesOf(const First& first, const Rest&... /*rest*/) {
    return first.context.numFrames;
}

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
