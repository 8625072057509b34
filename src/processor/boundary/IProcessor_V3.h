// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessor_V2.h"
#include "support/NonBlocking.h"

namespace Velmora::Processor {

/// Level 3 of the host interface: events. No data of its own.
class IProcessor_V3 : public IProcessor_V2 {
public:
    bool Terminate() override { return OnTerminate(); }

    virtual bool Reserved16() { return false; } // 16
    /// A status byte and two data bytes for the next block; dropped when there are too many. Always true.
    virtual bool PushEvent(const u8* /*midi*/) ORPHIA_NONBLOCKING { return true; } // 17
    /// At the end of Connect.
    virtual bool OnConnect() { return true; }   // 18
    virtual bool OnTerminate() { return true; } // 19
    virtual bool Reserved20() { return false; } // 20
    /// Once a block is done. Events that are not cleared are played again.
    virtual bool ClearEvents() ORPHIA_NONBLOCKING { return true; } // 21
    virtual bool Reserved22() { return true; }                     // 22

protected:
    IProcessor_V3() { info.interfaceVersion = 3; }
};

static_assert(sizeof(IProcessor_V3) == sizeof(IProcessor));

} // namespace Velmora::Processor
