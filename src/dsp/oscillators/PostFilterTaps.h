// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp {

/// How many inputs before the present one the post filter hears.
inline constexpr u32 postFilterPast = 8;

/// The post filter of the band-limited waveforms at a vector V of successive frames. The input of the first
/// one stands at line[postFilterPast], the eight before it in front of that.
template <class V>
V PostFiltered(const float* line) {
    const auto at = [line](u32 frame) { return V::load_unaligned(line + frame); };
    return V(0.014249048F) * (at(8) + at(0)) + V(-0.05980679F) * (at(7) + at(1)) +
           V(0.2597721F) * (at(6) + at(2)) + V(-0.8253973F) * (at(5) + at(3)) + V(2.2223659F) * at(4);
}

} // namespace Velmora::dsp
