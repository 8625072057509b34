// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessor_V7.h"
#include "support/NonBlocking.h"

#include <utility>

namespace Velmora::Processor {

/// Level 8 of the host interface: the block. No data of its own.
class IProcessor_V8 : public IProcessor_V7 {
public:
    static constexpr u32 version = 8;

    /// Renders one block; the outputs are silent when it is refused. Always true. Allocates nothing. Outputs
    /// are zeroed first of all, so no input may share its buffer with one.
    virtual bool Process(HostProcessData* data) ORPHIA_NONBLOCKING = 0; // 37

protected:
    explicit IProcessor_V8(std::unique_ptr<Info_V5> description) : IProcessor_V7(std::move(description)) {}
};

static_assert(sizeof(IProcessor_V8) == sizeof(IProcessor_V6));

} // namespace Velmora::Processor
