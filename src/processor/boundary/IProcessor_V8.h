// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/IProcessor.h"
#include "support/NonBlocking.h"

#include <memory>
#include <utility>

/// The levels of the host interface above the first. Each only appends to the one before.
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

static_assert(!has64BitPointers || sizeof(IProcessor_V2) == sizeof(IProcessor));

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

static_assert(!has64BitPointers || sizeof(IProcessor_V3) == sizeof(IProcessor));

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

static_assert(!has64BitPointers || sizeof(IProcessor_V4) == 72);

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

static_assert(!has64BitPointers || sizeof(IProcessor_V5) == 104);

/// Level 6 of the host interface: latency, and a description that later levels can extend, since it lies
/// outside the object. Its pointer is at byte 104.
class IProcessor_V6 : public IProcessor_V5 {
public:
    const Info* GetInfo() override { return newestInfo.get(); }
    bool Connect(ILogSink* hostLogger) override {
        const u32 count = GetParameterCount();
        for (Info* copy : {&info, static_cast<Info*>(&infoV4), static_cast<Info*>(&infoV5),
                           static_cast<Info*>(newestInfo.get())}) {
            copy->numParameters = count;
        }
        logger = hostLogger;
        return OnConnect();
    }
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
    explicit IProcessor_V6(std::unique_ptr<Info_V5> description)
        : newestInfo(description ? std::move(description) : std::make_unique<Info_V5>(6U)) {}

    std::unique_ptr<Info_V5> newestInfo;
};

static_assert(!has64BitPointers || sizeof(IProcessor_V6) == 112);

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

static_assert(!has64BitPointers || sizeof(IProcessor_V7) == sizeof(IProcessor_V6));

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

static_assert(!has64BitPointers || sizeof(IProcessor_V8) == sizeof(IProcessor_V6));

} // namespace Velmora::Processor
