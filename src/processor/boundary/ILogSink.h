// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::Processor {

/// The host's logger. The host owns it; its table of virtual operations has this one entry.
class ILogSink {
public:
    /// `text` is zero-terminated and valid during the call only.
    virtual void Log(const char* text, u32 level) = 0;

protected:
    ~ILogSink() = default;
};

} // namespace Velmora::Processor
