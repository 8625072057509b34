// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/AlignedBuffer.h"
#include "support/platform/Types.h"

#include <memory>

namespace Velmora::dsp {

/// The discrete Fourier transform of real data, in place and in single precision.
///
/// A spectrum is packed as size / 2 + 1 bins, real and imaginary part of bin k at 2k and 2k + 1; so a buffer
/// holds two floats more than there are samples. Making or destroying a transform allocates and locks;
/// transforming does neither. One thread at a time for each object. The build chooses the library that does
/// the work: FFTW, or kissfft where there is none.
class RealFft {
public:
    /// How many floats a buffer needs, in whole groups of four. Buffers are to be aligned as an
    /// AlignedBuffer is.
    static constexpr u32 BufferSize(u32 size) { return RoundUpToFour(size + 2); }

    /// size: samples, even and at least 2; powers of two are fastest.
    /// Throws CException when no transform of that size can be made.
    explicit RealFft(u32 size);
    RealFft(RealFft&& other) noexcept;
    ~RealFft();

    /// For a library that may be unloaded: what the transforms keep for the whole process then stays.
    static void KeepLoaded();

    u32 Size() const { return transformSize; }
    /// From size samples to the packed spectrum, not scaled.
    void Forward(float* data);
    /// Back from the packed spectrum, divided by the size, so that it undoes Forward. What follows the
    /// samples in the buffer is left undefined.
    void Inverse(float* data);

private:
    struct Plans;

    u32 transformSize;
    /// What a transform writes to: within one buffer the planner would take an algorithm that allocates.
    AlignedBuffer work;
    std::unique_ptr<Plans> plans;
};

} // namespace Velmora::dsp
