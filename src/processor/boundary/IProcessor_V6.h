// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessor_V5.h"

#include <memory>

namespace Velmora::Processor {

/// Level 6 of the host interface: latency, and a description that later levels can extend, since it lies
/// outside the object. Its pointer is at byte 104.
class IProcessor_V6 : public IProcessor_V5 {
public:
    const Info* GetInfo() override { return newestInfo.get(); }
    bool Connect(ILogSink* hostLogger) override;
    u32 GetVersion() override { return newestInfo->interfaceVersion; }

    /// In frames. Does not follow the sample rate, although the block size does.
    virtual u32 GetLatency() { return newestInfo->blockSize + GetExtraLatency(); } // 29
    virtual u32 GetExtraLatency() { return 0; }                                    // 30
    virtual bool Reserved31() { return false; }                                    // 31
    virtual void Hook32() {}                                                       // 32
    virtual void Hook33() {}                                                       // 33
    virtual const Info_V5* GetInfoV5() { return newestInfo.get(); }                // 34

protected:
    /// Describes itself as level 6 when no description comes from a later level.
    explicit IProcessor_V6(std::unique_ptr<Info_V5> description);

    std::unique_ptr<Info_V5> newestInfo;
};

static_assert(sizeof(IProcessor_V6) == 112);

} // namespace Velmora::Processor
