// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "vocoder/core/kernels/BandLanes.h"
#include "vocoder/core/kernels/DiscriminatorLanes.h"

#include <vector>

namespace Velmora::Processor {

/// The buffers of one amplifier: saturated buses, its two controls, its output.
struct AmplifierPins {
    const float* carrier;
    const float* noise;
    const float* first;
    const float* second;
    float* out;
};

/// The amplifier of a gate: the driven signal is limited, then multiplied by the gate's factors, one per
/// frame or, where there are none, one for all.
struct GatePins {
    const float* signal;
    float drive;
    const float* factors;
    float factor;
    float postGain;
    /// May be `factors`.
    float* out;
};

/// What drives the amplifiers of a tile: the saturated buses, and of each band the controls for the carrier.
struct AmplifierDrive {
    const AmplifierLanes& lanes;
    const float* carrier;
    const float* noise;
    const LaneTile& envelopes;
};

/// The hot loops of the vocoder core for one instruction set. All sets give the same bits: same order
/// of operations, no fused multiply-add. Rows are LaneTile rows of sixteen bands; a call takes at most a
/// tile.
struct VocoderKernels {
    const char* name;
    /// Both biquad stages, in place on `rows`.
    void (*runBank)(BiquadLanes& lanes, float* rows, u32 frames);
    /// The same with one input for all bands; `rows` is output only.
    void (*runBankOnOneInput)(BiquadLanes& lanes, const float* input, float* rows, u32 frames);
    /// Turns frames [offset, offset + frames) of the sixteen band buffers into rows; frames is a multiple
    /// of 4.
    void (*gatherBands)(const float* const* bands, u32 offset, u32 frames, LaneTile& tile);
    /// The way back.
    void (*scatterBands)(const LaneTile& tile, u32 frames, float* const* bands, u32 offset);
    /// out[n] = sum of the sixteen bands at frame n. The order of the additions is the same at every width.
    void (*sumBands)(const LaneTile& tile, u32 frames, float* out);
    /// out = scale * (noise * second + carrier * first), frames being a multiple of 4.
    void (*amplify)(const AmplifierPins& pins, float scale, u32 frames);
    /// Rectifies and smooths. `rows`: band signals in, direct control signals out; `envelopes`: out.
    void (*runRectifiers)(RectifierLanes& lanes, float* rows, float* envelopes, u32 frames);
    /// Amplifies, runs both biquad stages and sums: amplify, runBank and sumBands without the way through
    /// memory. `controls`: those for the noise; used up. frames is a multiple of 4.
    void (*synthesize)(BiquadLanes& lanes, const AmplifierDrive& drive, LaneTile& controls, u32 frames,
                       float* out);
    /// Makes rows of four envelopes, in the order of DiscriminatorLane, of both channels of the program.
    void (*discriminate)(DiscriminatorLanes& lanes, const float* left, const float* right, float* rows,
                         u32 frames);
    /// Both of any multiple of 4 frames.
    void (*amplifyGated)(const GatePins& pins, u32 frames);
    void (*saturate)(const float* bus, float drive, float scale, float* out, u32 frames);
};

/// The widest set that this processor runs well. Chosen once per process.
const VocoderKernels& SelectVocoderKernels();

/// Every set that this processor can run, the baseline first.
std::vector<const VocoderKernels*> AvailableVocoderKernels();

namespace kernels {

// The wider sets, one per source; null where the compiler does not build for that instruction set. None of
// these calls runs a wide instruction.
const VocoderKernels* Avx2Set();
const VocoderKernels* Avx512Set();

} // namespace kernels

} // namespace Velmora::Processor
