// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/kernels/LaneTile.h"

#include "dsp/Simd.h"

namespace Velmora::Processor {

namespace {

using dsp::simd::Float4;

/// Turns four rows of four over.
void Transpose(Float4 (&rows)[4]) {
    const Float4 low01 = xsimd::zip_lo(rows[0], rows[2]);
    const Float4 high01 = xsimd::zip_hi(rows[0], rows[2]);
    const Float4 low23 = xsimd::zip_lo(rows[1], rows[3]);
    const Float4 high23 = xsimd::zip_hi(rows[1], rows[3]);
    rows[0] = xsimd::zip_lo(low01, low23);
    rows[1] = xsimd::zip_hi(low01, low23);
    rows[2] = xsimd::zip_lo(high01, high23);
    rows[3] = xsimd::zip_hi(high01, high23);
}

} // namespace

void SumBands(const LaneTile& tile, u32 frames, float* out) {
    for (u32 n = 0; n < frames; n += 4) {
        Float4 rows[4];
        for (u32 i = 0; i < 4; ++i) {
            const float* row = tile.samples[n + i];
            rows[i] = (Float4::load_aligned(row) + Float4::load_aligned(row + 4)) +
                      (Float4::load_aligned(row + 8) + Float4::load_aligned(row + 12));
        }
        Transpose(rows);
        ((rows[0] + rows[1]) + (rows[2] + rows[3])).store_unaligned(out + n);
    }
}

} // namespace Velmora::Processor
