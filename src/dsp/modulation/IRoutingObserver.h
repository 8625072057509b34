// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::dsp {

/// Hears when a cell of a modulation matrix begins or ceases to carry signal. Called by the setters of the
/// matrix, on the audio thread: an implementation neither allocates nor blocks. It must be removed from the
/// matrix before it is destroyed.
class IRoutingObserver {
public:
    IRoutingObserver() = default;
    IRoutingObserver(const IRoutingObserver&) = delete;
    IRoutingObserver& operator=(const IRoutingObserver&) = delete;
    virtual ~IRoutingObserver() = default;

    /// nonZero tells whether the effective amount of the cell is now different from 0. Source and
    /// destination count from 0.
    virtual void OnRoutingChanged(u32 source, u32 destination, bool nonZero) = 0;
};

} // namespace Velmora::dsp
