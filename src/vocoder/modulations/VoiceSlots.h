// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

namespace Velmora::Processor {

/// Slots 0 to 31 are played voices. Slot 32 follows the tracked pitch, and slot 32 + i lies i semitones
/// above it.
constexpr u32 playedVoiceCount = 32;
constexpr u32 firstTrackedVoice = playedVoiceCount;
constexpr u32 trackedVoiceCount = 25;
constexpr u32 voiceSlotCount = playedVoiceCount + trackedVoiceCount;

} // namespace Velmora::Processor
