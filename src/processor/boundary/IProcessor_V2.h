// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessor.h"

namespace Velmora::Processor {

/// Level 2 of the host interface: no data of its own.
class IProcessor_V2 : public IProcessor {
public:
    /// The interface level that the processor was built for.
    virtual u32 GetVersion() = 0;        // 14
    virtual u32 GetParameterCount() = 0; // 15

protected:
    IProcessor_V2() { info.interfaceVersion = 2; }
};

static_assert(sizeof(IProcessor_V2) == sizeof(IProcessor));

} // namespace Velmora::Processor
