// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/kernels/VoiceKernels.h"

#include "dsp/vectors/Simd.h"
#include "vocoder/carrier/kernels/VoiceKernelsImpl.h"

namespace Velmora::Processor {

namespace {

const VoiceKernels& BaselineVoices() {
    static constexpr VoiceKernels set =
        kernels::MakeVoiceKernels<dsp::simd::BaselineArch, dsp::simd::BaselineArch>("baseline, 4 lanes");
    return set;
}

} // namespace

std::vector<const VoiceKernels*> AvailableVoiceKernels() {
    const auto cpu = xsimd::available_architectures();
    std::vector<const VoiceKernels*> sets = {&BaselineVoices()};
    const auto add = [&sets](const VoiceKernels* set, bool runs) {
        if (set != nullptr && runs) {
            sets.push_back(set);
        }
    };
    add(kernels::Avx2Voices(), cpu.avx2 != 0);
    add(kernels::Avx512Voices(), cpu.avx512bw != 0);
    return sets;
}

const VoiceKernels& SelectVoiceKernels() {
    static const VoiceKernels& widest = *AvailableVoiceKernels().back();
    return widest;
}

} // namespace Velmora::Processor
