// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/FloatMode.h"
#include "support/platform/Types.h"

namespace Velmora::dsp {

/// While it lives, the calling thread treats denormal numbers as zero (flush-to-zero and, where there is
/// one, denormals-are-zero); then the caller's mode is back. Recursive filters would otherwise slow down
/// manifold when the sound stops.
class DenormalGuard {
public:
    DenormalGuard() { Platform::SetFloatMode(Platform::WithDenormalsFlushed(callerMode)); }
    ~DenormalGuard() { Platform::SetFloatMode(callerMode); }
    DenormalGuard(const DenormalGuard&) = delete;
    DenormalGuard& operator=(const DenormalGuard&) = delete;

private:
    u64 callerMode = Platform::FloatMode();
};

} // namespace Velmora::dsp
