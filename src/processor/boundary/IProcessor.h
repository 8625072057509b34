// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/HostRecords.h"
#include "processor/boundary/Info.h"
#include "support/NonBlocking.h"

namespace Velmora::Processor {

/// The host's logger. The host owns it; its table of virtual operations has this one entry.
class ILogSink {
public:
    /// `text` is zero-terminated and valid during the call only.
    virtual void Log(const char* text, u32 level) = 0;

protected:
    ~ILogSink() = default;
};

/// A processor as the host sees it, in levels: each level appends operations and data to the one before, and
/// a host that was built for an older level uses only what it knows. Operations are numbered by slot; a slot
/// never moves, nor does a byte of data. The virtual destructor is slot 13. Where the C++ ABI gives a
/// destructor two entries of the virtual table (all but Windows), slot n above 13 is entry n + 1.
///
/// Reserved slots are kept for older hosts and do nothing.
///
/// Order of calls: constructed; Connect; questions about parameters; Initialize (may repeat, with a new
/// rate); per block events, SetParameter, Process, the change queues, ClearEvents; Terminate; destroyed. All
/// calls come from one thread at a time. Bytes 8 to 39 of the object are this level's.
class IProcessor {
public:
    IProcessor(const IProcessor&) = delete;
    IProcessor& operator=(const IProcessor&) = delete;

    /// The plain fields of the newest description.
    virtual const Info* GetInfo() = 0;         // 0
    virtual bool Reserved1() { return false; } // 1
    /// Reads the sample rate of the set-up. May allocate and throw.
    virtual bool Initialize(const ProcessorSetup* setup) = 0; // 2
    /// Takes the host's logger, which may be null, and fills in the parameter counts.
    virtual bool Connect(ILogSink* hostLogger) = 0; // 3
    virtual bool Terminate() = 0;                   // 4
    virtual bool Reserved5() { return true; }       // 5
    virtual bool Reserved6() { return true; }       // 6
    /// Positions of controls, nominally 0 to 1. False when there is no value.
    virtual bool GetParameter(u32 id, float* value) ORPHIA_NONBLOCKING = 0; // 7
    virtual bool SetParameter(u32 id, float value) ORPHIA_NONBLOCKING = 0;  // 8
    /// `size`: the room in `buffer` in, the bytes of the data out; false when they do not fit or there are
    /// none.
    virtual bool GetParameterData(u32 id, void* buffer, u32* size) ORPHIA_NONBLOCKING = 0;              // 9
    virtual bool SetParameterData(u32 /*id*/, const void* /*data*/, u32* /*size*/) ORPHIA_NONBLOCKING { // 10
        return false;
    }
    /// False when there is no such parameter, or it has no name.
    virtual bool GetParameterInfo(u32 id, ParameterInfoRecord* record) = 0;                 // 11
    virtual bool GetParameterInfoByIndex(u32 index, u32* id, ParameterInfoRecord* record) { // 12
        if (!GetParameterInfo(index, record)) {
            return false;
        }
        *id = index;
        return true;
    }
    virtual ~IProcessor() = default; // 13

protected:
    IProcessor() { info.interfaceVersion = 1; }

    /// What hosts of levels 1 to 3 read.
    Info info;
    /// Null until the host has connected.
    ILogSink* logger = nullptr;
};

static_assert(!has64BitPointers || sizeof(IProcessor) == 40);

} // namespace Velmora::Processor
