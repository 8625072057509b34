// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/kernels/VocoderKernels.h"

#include "dsp/vectors/Simd.h"
#include "vocoder/core/kernels/KernelSets.h"

namespace Velmora::Processor {

namespace {

struct Candidate {
    const VocoderKernels* set;
    bool runs;
};

std::vector<const VocoderKernels*> FindSets() {
    const auto cpu = xsimd::available_architectures();
    const Candidate wide[] = {{kernels::Avx2Set(), cpu.avx2 != 0}, {kernels::Avx512Set(), cpu.avx512bw != 0}};
    std::vector<const VocoderKernels*> sets = {&kernels::BaselineSet()};
    for (const Candidate& candidate : wide) {
        if (candidate.set != nullptr && candidate.runs) {
            sets.push_back(candidate.set);
        }
    }
    return sets;
}

} // namespace

std::vector<const VocoderKernels*> AvailableVocoderKernels() { return FindSets(); }

const VocoderKernels& SelectVocoderKernels() {
    static const VocoderKernels& widest = *FindSets().back();
    return widest;
}

} // namespace Velmora::Processor
