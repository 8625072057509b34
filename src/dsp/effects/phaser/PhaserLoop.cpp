// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/phaser/PhaserLoop.h"

#include "dsp/math/Within.h"

namespace Velmora::dsp {

namespace {

/// The channels change places.
Double2 Swapped(Double2 x) { return xsimd::zip_lo(xsimd::zip_hi(x, x), x); }

} // namespace

void PhaserLoop::Clear() {
    for (Pair& pair : pairs) {
        pair.first = pair.second = Double2(0.0);
    }
    highCutState = lowCutState = Double2(0.0);
}

bool PhaserLoop::IsAtRest() const {
    Double2 sum = xsimd::abs(highCutState) + xsimd::abs(lowCutState);
    for (u32 i = 0; i < active; ++i) {
        sum += xsimd::abs(pairs[i].first) + xsimd::abs(pairs[i].second);
    }
    return xsimd::all(sum == Double2(0.0));
}

void PhaserLoop::Heal() {
    Double2 sum = xsimd::abs(highCutState) + xsimd::abs(lowCutState);
    for (const Pair& pair : pairs) {
        sum += xsimd::abs(pair.first) + xsimd::abs(pair.second);
    }
    if (!IsIntact(xsimd::hadd(sum))) {
        Clear();
    }
}

void PhaserLoop::SetCount(u32 count) {
    for (u32 i = count; i < active; ++i) {
        pairs[i] = {};
    }
    active = count;
}

void PhaserLoop::JumpToTargets() {
    for (u32 i = 0; i < active; ++i) {
        pairs[i].c = pairs[i].endC;
        pairs[i].s = pairs[i].endS;
    }
    product = ProductOfStages();
}

Double2 PhaserLoop::ProductOfStages() const {
    Double2 c(1.0);
    for (u32 i = 0; i < active; ++i) {
        c *= pairs[i].c;
    }
    return c * c;
}

template <bool sweeps>
void PhaserLoop::Run(FrameQuad<Double2>& quad, const Controls& controls) {
    if constexpr (sweeps) {
        for (u32 i = 0; i < active; ++i) {
            pairs[i].stepC = (pairs[i].endC - pairs[i].c) * 0.25;
            pairs[i].stepS = (pairs[i].endS - pairs[i].s) * 0.25;
        }
    }
    quad.frame0 = Tick<sweeps>(quad.frame0, controls, 0);
    quad.frame1 = Tick<sweeps>(quad.frame1, controls, 1);
    quad.frame2 = Tick<sweeps>(quad.frame2, controls, 2);
    quad.frame3 = Tick<sweeps>(quad.frame3, controls, 3);
    if constexpr (sweeps) {
        // Exactly, so that a sweep that has ended leaves no rounding of its way.
        JumpToTargets();
    }
}

/// First the wet sound as it would be without input, then the input that fits it, then the stages.
template <bool sweeps>
inline Double2 PhaserLoop::Tick(Double2 x, const Controls& controls, u32 frame) {
    Double2 rest(0.0);
    for (u32 i = 0; i < active; ++i) {
        Pair& pair = pairs[i];
        if constexpr (sweeps) {
            pair.c += pair.stepC;
            pair.s += pair.stepS;
        }
        rest = pair.c * rest + pair.s * pair.first;
        rest = pair.c * rest + pair.s * pair.second;
    }
    if constexpr (sweeps) {
        product = ProductOfStages();
    }
    const double direct = static_cast<double>(controls.direct[frame]);
    const double other = static_cast<double>(controls.other[frame]);
    const double low = static_cast<double>(controls.lowCut[frame]);
    const double high = static_cast<double>(controls.highCut[frame]);
    const Double2 gain = (1.0 - low) * high * product;
    rest = (1.0 - low) * (high * rest + ((1.0 - high) * highCutState - lowCutState));

    // u = x + direct (gain u + rest) + other (gain u + rest) of the other channel.
    const Double2 own = 1.0 - direct * gain;
    const Double2 cross = other * Swapped(gain);
    const Double2 inverse = 1.0 / (own * Swapped(own) - cross * other * gain);
    const Double2 known = x + direct * rest + other * Swapped(rest);
    Double2 y = (Swapped(own) * known + cross * Swapped(known)) * inverse;

    for (u32 i = 0; i < active; ++i) {
        Pair& pair = pairs[i];
        const Double2 middle = pair.c * y + pair.s * pair.first;
        pair.first = pair.s * y - pair.c * pair.first;
        y = pair.c * middle + pair.s * pair.second;
        pair.second = pair.s * middle - pair.c * pair.second;
    }
    const Double2 below = high * y + (1.0 - high) * highCutState;
    highCutState = 2.0 * below - highCutState;
    const Double2 rumble = low * below + (1.0 - low) * lowCutState;
    lowCutState = 2.0 * rumble - lowCutState;
    return below - rumble;
}

template void PhaserLoop::Run<false>(FrameQuad<Double2>& quad, const Controls& controls);
template void PhaserLoop::Run<true>(FrameQuad<Double2>& quad, const Controls& controls);

} // namespace Velmora::dsp
