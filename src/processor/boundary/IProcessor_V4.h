// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessor_V3.h"
#include "support/NonBlocking.h"

namespace Velmora::Processor {

/// Level 4 of the host interface: changes that the engine reports to the host. Bytes 40 to 67 of the object.
class IProcessor_V4 : public IProcessor_V3 {
public:
    /// Hand over what has come since the last call. The records stay valid until the next block; the pointer
    /// is null when there are none.
    virtual bool GetParameterValueChanges(const ParameterValueRecord** records,
                                          u32* count) ORPHIA_NONBLOCKING { // 23
        return NoChanges(records, count);
    }
    virtual bool GetParameterDataChanges(const ParameterDataRecord** records,
                                         u32* count) ORPHIA_NONBLOCKING { // 24
        return NoChanges(records, count);
    }
    virtual bool Reserved25(const void** records, u32* count) { return NoChanges(records, count); } // 25

protected:
    IProcessor_V4() { infoV4.interfaceVersion = 4; }

    /// What hosts of level 4 read.
    alignas(8) Info_V2 infoV4;

private:
    template <class Record>
    static bool NoChanges(const Record** records, u32* count) {
        *records = nullptr;
        *count = 0;
        return true;
    }
};

static_assert(sizeof(IProcessor_V4) == 72);

} // namespace Velmora::Processor
