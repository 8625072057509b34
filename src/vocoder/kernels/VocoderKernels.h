// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/Types.h"
#include "vocoder/kernels/BiquadLanes.h"
#include "vocoder/kernels/RectifierLanes.h"

#include <vector>

namespace Velmora::Processor {

/// The hot recursions of the vocoder core for one instruction set. All sets give the same bits: same order
/// of operations, no fused multiply-add. Rows are LaneTile rows of sixteen bands; at most 16 frames a call.
struct VocoderKernels {
    const char* name;
    /// Both biquad stages, in place on `rows`.
    void (*runBank)(BiquadLanes& lanes, float* rows, u32 frames);
    /// The same with one input for all bands; `rows` is output only.
    void (*runBankOnOneInput)(BiquadLanes& lanes, const float* input, float* rows, u32 frames);
    /// Rectifies and smooths. `rows`: band signals in, direct control signals out; `envelopes`: out.
    void (*runRectifiers)(RectifierLanes& lanes, float* rows, float* envelopes, u32 frames);
};

/// The widest set that this processor runs well. Chosen once per process.
const VocoderKernels& SelectVocoderKernels();

/// Every set that this processor can run, the baseline first.
std::vector<const VocoderKernels*> AvailableVocoderKernels();

} // namespace Velmora::Processor
