// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/FloatMode.h"

#if defined(__x86_64__) || defined(_M_X64)
#include <xmmintrin.h>
#endif

namespace Velmora::Platform {

#if defined(__x86_64__) || defined(_M_X64)

u64 FloatMode() { return _mm_getcsr(); }

void SetFloatMode(u64 mode) { _mm_setcsr(static_cast<unsigned>(mode)); }

u64 WithDenormalsFlushed(u64 mode) {
    constexpr u64 flushToZero = 0x8000;
    constexpr u64 denormalsAreZero = 0x0040;
    return mode | flushToZero | denormalsAreZero;
}

#elif defined(__aarch64__)

u64 FloatMode() {
    u64 mode = 0;
    asm volatile("mrs %0, fpcr" : "=r"(mode));
    return mode;
}

void SetFloatMode(u64 mode) { asm volatile("msr fpcr, %0" : : "r"(mode)); }

u64 WithDenormalsFlushed(u64 mode) {
    constexpr u64 flushToZero = u64{1} << 24;
    return mode | flushToZero;
}

#else

u64 FloatMode() { return 0; }

void SetFloatMode(u64 /*mode*/) {}

u64 WithDenormalsFlushed(u64 mode) { return mode; }

#endif

} // namespace Velmora::Platform
