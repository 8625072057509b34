// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// As VoiceKernelsImpl.h, which includes it.

#include "dsp/oscillators/SteadyPhase.h"
#include "support/platform/Types.h"

#include <xsimd/xsimd.hpp>

#include <cstdint>
#include <utility>

namespace Velmora::Processor::kernels {

/// The phases of successive frames, of which each lane keeps all 64 bits, as the upper 31 bits in whole
/// numbers. V is a vector of floats.
template <class V>
class SteadyLanes {
public:
    using Arch = typename V::arch_type;
    using Words = xsimd::batch<i32, Arch>;

    explicit SteadyLanes(const dsp::SteadyPhase& phase) : step(phase.step * V::size) {
        alignas(64) std::uint64_t first[V::size];
        std::uint64_t at = phase.start;
        for (std::uint64_t& lane : first) {
            lane = at += phase.step;
        }
        low = Long::load_aligned(first);
        high = Long::load_aligned(first + Long::size);
    }

    Words Next() {
        const auto words = UpperWords(std::make_integer_sequence<int, V::size>());
        low += step;
        high += step;
        return xsimd::bitwise_cast<Words>(words >> 1);
    }

private:
    using Long = xsimd::batch<std::uint64_t, Arch>;
    using Unsigned = xsimd::batch<std::uint32_t, Arch>;

    template <int... lane>
    Unsigned UpperWords(std::integer_sequence<int, lane...> /*lanes*/) const {
        return xsimd::bitwise_cast<Unsigned>(V(__builtin_shufflevector(
            xsimd::bitwise_cast<V>(low).data, xsimd::bitwise_cast<V>(high).data, (2 * lane + 1)...)));
    }

    Long low;
    Long high;
    Long step;
};

} // namespace Velmora::Processor::kernels
