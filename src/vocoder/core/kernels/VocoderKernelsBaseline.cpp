// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/vectors/Simd.h"
#include "vocoder/core/kernels/KernelSets.h"
#include "vocoder/core/kernels/VocoderKernelsImpl.h"

namespace Velmora::Processor::kernels {

const VocoderKernels& BaselineSet() {
    static constexpr VocoderKernels set =
        MakeKernels<dsp::simd::BaselineArch, dsp::simd::BaselineArch>("baseline, 4 lanes");
    return set;
}

} // namespace Velmora::Processor::kernels
