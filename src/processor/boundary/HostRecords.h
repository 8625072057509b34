// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <cstddef>

/// The records that cross the border to the host. Hosts are compiled apart from this library: every offset
/// and size here is a contract and may not drift. Fields named `reserved` are the host's own and are never
/// touched.
namespace Velmora::Processor {

/// What Initialize reads of the host's set-up record: nothing behind the first field.
struct ProcessorSetup {
    /// In Hz.
    float sampleRate;
};

/// A size in bytes and where they lie; size 0 for a parameter that holds no data.
struct ParameterData {
    u32 size = 0;
    const void* data = nullptr;
};

/// A MIDI event on its way to the host.
struct HostEventRecord {
    static constexpr u64 midiLength = 3;

    u8 midi[3] = {};
    u8 padding[5] = {};
    u64 length = midiLength;
};

static_assert(!has64BitPointers || sizeof(HostEventRecord) == 16);
static_assert(!has64BitPointers || offsetof(HostEventRecord, length) == 8);

/// Tells the host of new data of a parameter. The data stay where they are, in the processor.
struct ParameterDataRecord {
    static constexpr u32 noId = 0xFFFFFFFF;

    u32 id = noId;
    u64 size = 0;
    const void* data = nullptr;
};

static_assert(!has64BitPointers || sizeof(ParameterDataRecord) == 24);
static_assert(!has64BitPointers || offsetof(ParameterDataRecord, size) == 8);
static_assert(!has64BitPointers || offsetof(ParameterDataRecord, data) == 16);

/// Tells the host of a new value of a parameter.
struct ParameterValueRecord {
    u32 id = 0xFFFFFFFF;
    u8 value[8] = {};
};

static_assert(!has64BitPointers || sizeof(ParameterValueRecord) == 12);
static_assert(!has64BitPointers || offsetof(ParameterValueRecord, value) == 4);

/// The host's description of a parameter, which the processor fills. Zeroed by the host: a name may be copied
/// without its terminator.
struct ParameterInfoRecord {
    static constexpr u32 nameCapacity = 256;

    char name[nameCapacity];
    u8 reserved[16];
    /// 0 for a parameter that holds data.
    u32 dataKind;
    /// Bytes that a data parameter holds or may hold.
    u64 dataSize;
};

static_assert(!has64BitPointers || offsetof(ParameterInfoRecord, name) == 0);
static_assert(!has64BitPointers || offsetof(ParameterInfoRecord, dataKind) == 272);
static_assert(!has64BitPointers || offsetof(ParameterInfoRecord, dataSize) == 280);

/// The outgoing events of one port.
struct HostPortEvents {
    u32 count;
    const HostEventRecord* records;
};

static_assert(!has64BitPointers || sizeof(HostPortEvents) == 16);
static_assert(!has64BitPointers || offsetof(HostPortEvents, records) == 8);

/// One block, as the host hands it over.
struct HostProcessData {
    static constexpr i32 offlineMode = 1;

    u8 reserved0[16];
    float* const* outputs;
    const float* const* inputs;
    u32 numInputs;
    u32 numOutputs;
    u32 numFrames;
    u8 reserved44[84];
    /// Out: the number of records in outEvents.
    u32 numOutEvents;
    u8 reserved132[4];
    /// Out: they are the processor's, and valid until its next block.
    const HostEventRecord* outEvents;
    float* const* auxOutputs;
    u32 numAuxOutputs;
    u8 reserved156[4];
    i32 processMode;
    u8 reserved164[4];
    /// In beats per minute.
    float tempo;
    u8 isPlaying;
    u8 reserved173[3];
    /// In beats.
    float songPosition;
    u8 reserved180[4];
    /// The external audio input of the instrument.
    const float* const* auxInputs;
    u32 numAuxInputs;
    u8 reserved196[4];
    /// Out: one entry per port.
    HostPortEvents* portOutputs;
    u32 numPorts;
    u8 reserved212[4];
    u32 hostValueA;
    float hostValueB;
};

static_assert(!has64BitPointers || offsetof(HostProcessData, outputs) == 16);
static_assert(!has64BitPointers || offsetof(HostProcessData, inputs) == 24);
static_assert(!has64BitPointers || offsetof(HostProcessData, numInputs) == 32);
static_assert(!has64BitPointers || offsetof(HostProcessData, numOutputs) == 36);
static_assert(!has64BitPointers || offsetof(HostProcessData, numFrames) == 40);
static_assert(!has64BitPointers || offsetof(HostProcessData, numOutEvents) == 128);
static_assert(!has64BitPointers || offsetof(HostProcessData, outEvents) == 136);
static_assert(!has64BitPointers || offsetof(HostProcessData, auxOutputs) == 144);
static_assert(!has64BitPointers || offsetof(HostProcessData, numAuxOutputs) == 152);
static_assert(!has64BitPointers || offsetof(HostProcessData, processMode) == 160);
static_assert(!has64BitPointers || offsetof(HostProcessData, tempo) == 168);
static_assert(!has64BitPointers || offsetof(HostProcessData, isPlaying) == 172);
static_assert(!has64BitPointers || offsetof(HostProcessData, songPosition) == 176);
static_assert(!has64BitPointers || offsetof(HostProcessData, auxInputs) == 184);
static_assert(!has64BitPointers || offsetof(HostProcessData, numAuxInputs) == 192);
static_assert(!has64BitPointers || offsetof(HostProcessData, portOutputs) == 200);
static_assert(!has64BitPointers || offsetof(HostProcessData, numPorts) == 208);
static_assert(!has64BitPointers || offsetof(HostProcessData, hostValueA) == 216);
static_assert(!has64BitPointers || offsetof(HostProcessData, hostValueB) == 220);

} // namespace Velmora::Processor
