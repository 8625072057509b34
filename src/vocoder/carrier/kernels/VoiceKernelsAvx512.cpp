// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/kernels/VoiceKernels.h"

#ifdef __AVX512BW__
#include "vocoder/carrier/kernels/VoiceKernelsImpl.h"

namespace Velmora::Processor::kernels {

const VoiceKernels* Avx512Voices() {
    static constexpr VoiceKernels set = MakeVoiceKernels<xsimd::avx512bw, xsimd::sse4_1>("AVX-512, 16 lanes");
    return &set;
}

} // namespace Velmora::Processor::kernels
#else
namespace Velmora::Processor::kernels {

const VoiceKernels* Avx512Voices() { return nullptr; }

} // namespace Velmora::Processor::kernels
#endif
