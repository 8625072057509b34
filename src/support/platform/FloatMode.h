// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

/// The floating-point control word of the calling thread. For the audio path: no call, no wait.
namespace Velmora::Platform {

u64 FloatMode();
void SetFloatMode(u64 mode);
/// A mode with denormals flushed to zero, on input too where the processor can.
u64 WithDenormalsFlushed(u64 mode);

} // namespace Velmora::Platform
