// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::engine {

/// One note event, or what is remembered of it. Note and velocity are 0 to 127, the channel is 0 to 15.
struct NoteInfo {
    u8 note = 0;
    /// Of the press; once the voice is released, of the release.
    u8 velocity = 0;
    u8 channel = 0;

    /// The same key: the same note number, on the same channel unless channels are ignored.
    bool IsSameKey(const NoteInfo& other, bool ignoreChannel) const {
        return note == other.note && (ignoreChannel || channel == other.channel);
    }
};

} // namespace Velmora::engine
