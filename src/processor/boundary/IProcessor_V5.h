// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessor_V4.h"

namespace Velmora::Processor {

/// Level 5 of the host interface: blocks whose size depends on the sample rate. Bytes 72 to 103 of the
/// object.
class IProcessor_V5 : public IProcessor_V4 {
public:
    /// The most frames that a block may have at a rate in Hz.
    virtual u32 GetBlockSize(float /*sampleRate*/) { return infoV5.blockSize; } // 26
    virtual bool Reserved27() { return false; }                                 // 27
    virtual bool Reserved28() { return false; }                                 // 28

protected:
    IProcessor_V5() { infoV5.interfaceVersion = 5; }

    /// What hosts of level 5 read. The alignment keeps it out of the four bytes that the level below leaves.
    alignas(8) Info_V3 infoV5;
};

static_assert(sizeof(IProcessor_V5) == 104);

} // namespace Velmora::Processor
