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

} // namespace Velmora::dsp
