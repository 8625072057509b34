// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"

#include <vector>

namespace Velmora::Processor {

constexpr u32 midiChannelCount = 16;

/// The parameters that every instrument has, by index among the root's own: wheels, pedals and expression,
/// and what the host tells or asks. They carry the word of the host standard, since shells map their
/// controller inputs onto them by name.
enum ReservedParameter : u32 {
    /// -1..1, times the range of the instrument.
    PitchBend,
    ModWheel,
    Sustain,
    AllNotesOff,
    Aftertouch,
    /// Resets everything when set by position; while above 0 nothing is rendered.
    Panic,
    /// The bracket around the values of a preset: 1 before the first, 0 after the last.
    PresetLoading,
    GuiVisible,
    /// dB.
    SynthMasterVolume,
    MpeEnabled,
    /// Semitones.
    MpePitchRange,
    MpeSlideMode,
    MpeGlobalBrightness,
    /// Written by the engine: a tuning source runs.
    MtsHasMaster,
    MtsRetuningMode,
    /// One per channel: -1..1, then 0..1, then 0..1.
    MpePitchBend,
    MpeAftertouch = MpePitchBend + midiChannelCount,
    MpeBrightness = MpeAftertouch + midiChannelCount,
    ReservedCount = MpeBrightness + midiChannelCount
};

/// Only these have a list of linked ids.
constexpr u32 linkableCount = MpePitchBend;

/// The records of the reserved parameters, followed by those of the instrument.
std::vector<dsp::ModuleParam> AfterReservedParameters(std::vector<dsp::ModuleParam>&& instrument);

} // namespace Velmora::Processor
