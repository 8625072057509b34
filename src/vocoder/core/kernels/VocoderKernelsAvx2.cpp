// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/kernels/VocoderKernels.h"

#ifdef __AVX2__
#include "vocoder/core/kernels/VocoderKernelsImpl.h"

namespace Velmora::Processor::kernels {

const VocoderKernels* Avx2Set() {
    static constexpr VocoderKernels set =
        MakeKernels<xsimd::avx2, xsimd::sse4_2, xsimd::avx2>("AVX2, 8 lanes");
    return &set;
}

} // namespace Velmora::Processor::kernels
#else
namespace Velmora::Processor::kernels {

const VocoderKernels* Avx2Set() { return nullptr; }

} // namespace Velmora::Processor::kernels
#endif
