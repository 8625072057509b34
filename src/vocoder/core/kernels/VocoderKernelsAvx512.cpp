// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/kernels/VocoderKernels.h"

#ifdef __AVX512BW__
#include "vocoder/core/kernels/VocoderKernelsImpl.h"

namespace Velmora::Processor::kernels {

const VocoderKernels* Avx512Set() {
    static constexpr VocoderKernels set =
        MakeKernels<xsimd::avx512bw, xsimd::sse4_1, xsimd::avx>("AVX-512, 16 lanes");
    return &set;
}

} // namespace Velmora::Processor::kernels
#else
namespace Velmora::Processor::kernels {

const VocoderKernels* Avx512Set() { return nullptr; }

} // namespace Velmora::Processor::kernels
#endif
