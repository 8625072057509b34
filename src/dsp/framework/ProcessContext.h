// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>

namespace Velmora::dsp {

struct EventQueue;

/// What one block hands to a module. Built once per block at the top of the tree; parents build their own
/// for their children. Buffers are 16-byte aligned and hold numFrames samples each. The pointer of a
/// modulation input may be null, and that of an audio input where the module says so. A modulation input
/// carries one float directly in front of its first sample: a non-zero value there marks the buffer as
/// active.
struct ProcessContext {
    /// Audio inputs first, then the module's modulation inputs.
    const float* const* inputs = nullptr;
    const float* const* auxInputs = nullptr;
    float* const* outputs = nullptr;
    float* const* auxOutputs = nullptr;
    EventQueue* inputEvents = nullptr;
    EventQueue* outputEvents = nullptr;
    u32 numInputs = 0;
    u32 numAuxInputs = 0;
    u32 numOutputs = 0;
    u32 numAuxOutputs = 0;
    /// A multiple of 4, at most the maxBlockSize of Initialize. 0 is allowed.
    u32 numFrames = 0;
    /// Beats per minute.
    float tempo = 120.0F;
    /// In beats.
    float songPosition = 0.0F;
    u8 isPlaying = 0;
    /// 1 when rendering offline.
    i32 isOffline = 0;
    u32 hostValueA = 0;
    float hostValueB = 0.0F;

    /// The context for a child: the caller's with other channels.
    ProcessContext ForChild(const float* const* childInputs, u32 childNumInputs, float* const* childOutputs,
                            u32 childNumOutputs) const {
        ProcessContext child = *this;
        child.inputs = childInputs;
        child.numInputs = childNumInputs;
        child.outputs = childOutputs;
        child.numOutputs = childNumOutputs;
        return child;
    }

    /// An input buffer, or null beyond those that the caller gave.
    const float* InputOrNull(u32 inputIndex) const {
        return inputIndex < numInputs ? inputs[inputIndex] : nullptr;
    }

    /// The modulation buffer at an input index, or null when it is absent or not active.
    const float* ActiveModulation(u32 inputIndex) const {
        const float* buffer = InputOrNull(inputIndex);
        return buffer != nullptr && buffer[-1] != 0.0F ? buffer : nullptr;
    }
};

/// Passes an input to the output of the same number, which may be the same buffer. One that is null or absent
/// counts as silence.
inline void CopyChannel(const ProcessContext& context, u32 channel) {
    const float* in = context.InputOrNull(channel);
    float* out = context.outputs[channel];
    if (in == nullptr) {
        std::fill_n(out, context.numFrames, 0.0F);
    } else if (in != out) {
        std::copy_n(in, context.numFrames, out);
    }
}

} // namespace Velmora::dsp
