// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/ProcessContext.h"

namespace Velmora::dsp {

/// How a parent runs a child, everywhere in the tree: control-rate tick, then the block when the tick
/// agrees and the channels fit. Otherwise the child is skipped and its outputs stay as they were.
/// Returns the result of Process, false for a skipped child. M is the child's own class, so that calls to
/// final classes need no virtual dispatch.
template <class M>
bool RunChild(M& child, ProcessContext& context) {
    if (!child.UpdateParameters(context) || context.numInputs > child.numInputs ||
        context.numOutputs > child.numOutputs) {
        return false;
    }
    const bool result = child.Process(context);
    child.needsUpdate = false;
    child.ClearParameterChanges(false);
    return result;
}

} // namespace Velmora::dsp
