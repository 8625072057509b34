// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/stage/Watch.h"

#include <algorithm>
#include <cmath>

namespace orphia::plugin {

void Watch::Raise(std::atomic<float>& peak, const float* samples, std::uint32_t count) {
    float largest = peak.load(std::memory_order_relaxed);
    for (std::uint32_t n = 0; n < count; ++n) {
        largest = std::max(largest, std::fabs(samples[n]));
    }
    peak.store(largest, std::memory_order_relaxed);
}

std::uint64_t Watch::Ticks() {
#if defined(__x86_64__) || defined(__i386__)
    return __builtin_ia32_rdtsc();
#else
    return 0;
#endif
}

} // namespace orphia::plugin
