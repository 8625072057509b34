// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

/// A processor's description of itself. Each interface level of the host added a field, so each record of the
/// chain is the one before with something behind it; hosts read them at fixed offsets.
namespace Velmora::Processor {

struct Info {
    /// Parameters of the processor; 0 until the host has connected.
    u32 numParameters = 0;
    u32 outputChannelCount = 2;
    u32 inputChannelCount = 0;
    u32 infoReserved = 3;
    /// Frames of a block at 44100 Hz.
    u32 blockSize = 44;
    /// The interface level that this copy is for.
    u32 interfaceVersion = 0;
};

struct Info_V2 : Info {
    u32 auxInputChannelCount = 2;
};

struct Info_V3 : Info_V2 {
    u8 hasAuxInput = 1;
};

struct Info_V4 : Info_V3 {
    /// Event ports beside the main one.
    u32 eventPortCount = 0;
};

/// The whole description. Its pointer to the virtual table comes first, the fields of Info 8 bytes behind it.
struct Info_V5 : Info_V4 {
    Info_V5() = default;
    explicit Info_V5(u32 version) { interfaceVersion = version; }
    Info_V5(const Info_V5&) = delete;
    Info_V5& operator=(const Info_V5&) = delete;
    virtual ~Info_V5() = default;
};

// Without room for gaps, the sizes fix all offsets.
static_assert(!has64BitPointers || sizeof(Info) == 24);
static_assert(!has64BitPointers || sizeof(Info_V2) == 28);
static_assert(!has64BitPointers || sizeof(Info_V3) == 32);
static_assert(!has64BitPointers || sizeof(Info_V4) == 36);
static_assert(!has64BitPointers || sizeof(Info_V5) == 48);

} // namespace Velmora::Processor
