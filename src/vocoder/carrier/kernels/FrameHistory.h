// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// As VoiceKernelsImpl.h, which includes it.

#include "dsp/oscillators/PostFilterTaps.h"
#include "support/platform/Types.h"

#include <xsimd/xsimd.hpp>

#include <utility>

namespace Velmora::Processor::kernels {

/// Successive vectors of frames through the post filter. What came before a frame is shifted in from the
/// vector before in registers: a read across two vectors that were just written waits for both.
template <class V>
class FrameHistory {
public:
    static constexpr u32 past = dsp::postFilterPast;
    static constexpr auto lanes = static_cast<u32>(V::size);
    static_assert(lanes >= past);

    explicit FrameHistory(const float* history) : before(V::load_unaligned(history + past - lanes)) {}

    V Filter(V now) {
        const V y = dsp::PostFilteredAt<V>([&]<u32 frame>() { return Late<past - frame>(now); });
        beforeLast = before;
        before = now;
        return y;
    }

    /// With `rest` frames of the last vector behind the block.
    void Keep(float* history, u32 rest) const {
        alignas(64) float line[2 * lanes];
        beforeLast.store_aligned(line);
        before.store_aligned(line + lanes);
        V::load_unaligned(line + lanes - rest).store_unaligned(history + past - lanes);
    }

private:
    template <u32 frames>
    V Late(V now) const {
        if constexpr (frames == 0) {
            return now;
        } else {
            return Late<frames>(now, std::make_integer_sequence<int, V::size>());
        }
    }
    template <u32 frames, int... lane>
    V Late(V now, std::integer_sequence<int, lane...> /*lanes*/) const {
        return V(
            __builtin_shufflevector(before.data, now.data, (static_cast<int>(lanes - frames) + lane)...));
    }

    V before;
    V beforeLast = V(0.0F);
};

} // namespace Velmora::Processor::kernels
