// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/kernels/VoiceKernels.h"

#ifdef __AVX2__
#include "vocoder/carrier/kernels/VoiceKernelsImpl.h"

namespace Velmora::Processor::kernels {

const VoiceKernels* Avx2Voices() {
    static constexpr VoiceKernels set = MakeVoiceKernels<xsimd::avx2, xsimd::sse4_2>("AVX2, 8 lanes");
    return &set;
}

} // namespace Velmora::Processor::kernels
#else
namespace Velmora::Processor::kernels {

const VoiceKernels* Avx2Voices() { return nullptr; }

} // namespace Velmora::Processor::kernels
#endif
