// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/kernels/VocoderKernels.h"

#include "dsp/vectors/Simd.h"
#include "vocoder/core/kernels/VocoderKernelsImpl.h"

namespace Velmora::Processor {

namespace {

struct Candidate {
    const VocoderKernels* set;
    bool runs;
};

const VocoderKernels& BaselineSet() {
    static constexpr VocoderKernels set =
        kernels::MakeKernels<dsp::simd::BaselineArch, dsp::simd::BaselineArch, dsp::simd::BaselineArch>(
            "baseline, 4 lanes");
    return set;
}

} // namespace

std::vector<const VocoderKernels*> AvailableVocoderKernels() {
    const auto cpu = xsimd::available_architectures();
    const Candidate wide[] = {{kernels::Avx2Set(), cpu.avx2 != 0}, {kernels::Avx512Set(), cpu.avx512bw != 0}};
    std::vector<const VocoderKernels*> sets = {&BaselineSet()};
    for (const Candidate& candidate : wide) {
        if (candidate.set != nullptr && candidate.runs) {
            sets.push_back(candidate.set);
        }
    }
    return sets;
}

const VocoderKernels& SelectVocoderKernels() {
    static const VocoderKernels& widest = *AvailableVocoderKernels().back();
    return widest;
}

} // namespace Velmora::Processor
