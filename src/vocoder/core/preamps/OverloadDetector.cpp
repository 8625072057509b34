// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/preamps/OverloadDetector.h"

#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <iterator>

namespace Velmora::Processor {

namespace {

constexpr float thresholdVolts = 9.3125F;

/// The largest magnitude, searched in four lanes without a branch.
float FindPeak(const float* block, u32 numFrames) {
    using dsp::simd::Float4;
    Float4 peak(0.0F);
    for (u32 n = 0; n < numFrames; n += Float4::size) {
        peak = xsimd::max(xsimd::abs(Float4::load_unaligned(block + n)), peak);
    }
    float lanes[Float4::size];
    peak.store_unaligned(lanes);
    return *std::max_element(std::begin(lanes), std::end(lanes));
}

} // namespace

void OverloadDetector::Initialize(float sampleRate, u32 maxBlockSize) {
    overloadSmoother.Prepare(sampleRate, maxBlockSize);
}

void OverloadDetector::Reset() {
    overloadValue = 0.0F;
    overloadSmoother.Set(0.0F);
}

void OverloadDetector::Update(const float* block, u32 numFrames) {
    const float peak = FindPeak(block, numFrames);
    overloadSmoother.SetTarget(peak > thresholdVolts ? peak - thresholdVolts : 0.0F);
    overloadValue = std::clamp(overloadSmoother.SmootherLPF::Next(), 0.0F, 1.0F);
}

} // namespace Velmora::Processor
