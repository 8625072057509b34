// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessor_V6.h"
#include "support/NonBlocking.h"

#include <utility>

namespace Velmora::Processor {

/// Level 7 of the host interface: loading in the background. No data of its own.
class IProcessor_V7 : public IProcessor_V6 {
public:
    /// A sample is on its way.
    virtual bool IsLoading() ORPHIA_NONBLOCKING { return false; } // 35
    /// Called now and then while no block runs.
    virtual void Idle() {} // 36

protected:
    /// Describes itself as level 7 when no description comes from a later level.
    explicit IProcessor_V7(std::unique_ptr<Info_V5> description)
        : IProcessor_V6(description ? std::move(description) : std::make_unique<Info_V5>(7U)) {}
};

static_assert(sizeof(IProcessor_V7) == sizeof(IProcessor_V6));

} // namespace Velmora::Processor
