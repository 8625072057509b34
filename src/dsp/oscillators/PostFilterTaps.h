// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp {

/// How many inputs before the present one the post filter hears.
inline constexpr u32 postFilterPast = 8;

/// The post filter of the band-limited waveforms at a vector V of successive frames: at<8>() is their inputs,
/// at<0>() the inputs eight frames before them.
template <class V, class At>
V PostFilteredAt(const At& at) {
    const auto pair = [&at]<u32 late, u32 early>() {
        return at.template operator()<late>() + at.template operator()<early>();
    };
    return V(0.014249048F) * pair.template operator()<8, 0>() +
           V(-0.05980679F) * pair.template operator()<7, 1>() +
           V(0.2597721F) * pair.template operator()<6, 2>() +
           V(-0.8253973F) * pair.template operator()<5, 3>() + V(2.2223659F) * at.template operator()<4>();
}

/// The same from memory. The input of the first frame stands at line[postFilterPast], the eight before it in
/// front of that.
template <class V>
V PostFiltered(const float* line) {
    return PostFilteredAt<V>([line]<u32 frame>() { return V::load_unaligned(line + frame); });
}

} // namespace Velmora::dsp
