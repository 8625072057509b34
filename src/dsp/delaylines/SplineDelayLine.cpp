// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/delaylines/SplineDelayLine.h"

namespace Velmora::dsp {

namespace {

constexpr u32 reach = SplineDelayLine::reach;
static_assert(reach == 4, "the history is three quads");

/// The inverse of the sampled spline basis (1/6, 4/6, 1/6), a two-sided decay by the root sqrt(3) - 2, over
/// 6: that spares the taps a division. The last tap stands for all that are cut off, which costs nothing
/// where the ear is keen.
constexpr std::array<float, reach + 1> CoefficientFilter() {
    constexpr double root = -0.2679491924311227;
    constexpr double sqrtOfThree = root + 2.0;
    std::array<float, reach + 1> filter{};
    double tap = sqrtOfThree / 6.0;
    for (u32 k = 0; k < reach; ++k) {
        filter[k] = static_cast<float>(tap);
        tap *= root;
    }
    filter[reach] = static_cast<float>(tap / (1.0 - root));
    return filter;
}

constexpr std::array<float, reach + 1> coefficientFilter = CoefficientFilter();

} // namespace

void SplineDelayLine::Allocate(u32 longestDelay) {
    ring.Allocate(longestDelay + historySize);
    history.fill(0.0F);
    silentFrames = ring.Size() + historySize;
}

void SplineDelayLine::Clear() {
    ring.Clear();
    history.fill(0.0F);
    silentFrames = ring.Size() + historySize;
}

void SplineDelayLine::Write(Float4 samples) {
    // The new samples wait for the next quad: to read them back at once, shifted, would stall on the store.
    float* past = history.data();
    Float4 sum = Float4::load_unaligned(past + reach) * coefficientFilter[0];
    for (u32 k = 1; k <= reach; ++k) {
        const Float4 both =
            Float4::load_unaligned(past + reach - k) + Float4::load_unaligned(past + reach + k);
        sum += both * coefficientFilter[k];
    }
    Float4::load_aligned(past + 4).store_aligned(past);
    Float4::load_aligned(past + 8).store_aligned(past + 4);
    samples.store_aligned(past + 8);
    ring.Write(sum);
    silentFrames = xsimd::any(samples != Float4(0.0F)) ? 0 : silentFrames + Float4::size;
}

} // namespace Velmora::dsp
