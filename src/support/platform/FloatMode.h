// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

/// The floating-point control word of the calling thread. For the audio path: no call, no wait.
namespace Velmora::Platform {

/// Whether there is such a mode. Without one, recursions must be kept away from denormals
/// (dsp/math/SilenceFloor.h).
#if defined(__x86_64__) || defined(_M_X64) || defined(__aarch64__)
inline constexpr bool flushesDenormals = true;
#else
inline constexpr bool flushesDenormals = false;
#endif

u64 FloatMode();
void SetFloatMode(u64 mode);
/// A mode with denormals flushed to zero, on input too where the processor can.
u64 WithDenormalsFlushed(u64 mode);

} // namespace Velmora::Platform
