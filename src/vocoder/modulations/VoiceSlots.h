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

/// Sources of the modulation matrix.
enum ModulationSource : u32 {
    FollowerSource,
    LfoSource,
    EnvelopeSource,
    VelocitySource,
    KeySource,
    AftertouchSource,
    ModWheelSource,
    BrightnessSource,
    ModulationSourceCount
};

/// Destinations of the modulation matrix; those from 18 to 25 and 27 are the vocoder's, 2 to 7 the effects'.
enum ModulationDestination : u32 {
    LfoRateDestination = 0,
    LfoAmountDestination = 1,
    AttackDestination = 8,
    ReleaseDestination = 9,
    Osc1CoarseDestination = 10,
    Osc2CoarseDestination = 11,
    Osc2FineDestination = 12,
    Osc1ShapeDestination = 13,
    Osc2ShapeDestination = 14,
    FMAmountDestination = 15,
    Osc1VolumeDestination = 16,
    Osc2VolumeDestination = 17,
    MasterVolumeDestination = 26,
    EnsembleDestination = 28,
    FollowerAmountDestination = 29,
    ModulationDestinationCount = 30
};

} // namespace Velmora::Processor
