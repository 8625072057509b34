// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/math/DenormalGuard.h"

#include "support/platform/FloatMode.h"

namespace Velmora::dsp {

DenormalGuard::DenormalGuard() : callerMode(Platform::FloatMode()) {
    Platform::SetFloatMode(Platform::WithDenormalsFlushed(callerMode));
}

DenormalGuard::~DenormalGuard() { Platform::SetFloatMode(callerMode); }

} // namespace Velmora::dsp
