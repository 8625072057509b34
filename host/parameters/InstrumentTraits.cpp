// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterTraits.h"

#include <array>

namespace orphia::host {

namespace {

using enum ParameterRole;
using enum ParameterUnit;
using Row = TraitsRow;

/// What belongs to the instrument as a whole.
constexpr std::array instrumentRows = {
    Row{"OutputSelection",
        {Control, None, "what is heard: the vocoder, or what goes into it", false, false,
         "carrier|modulator|vocoder"}},
    Row{"Synth_Master_Volume", {Control, Decibel, "level of the whole, once more"}},
    Row{"MPE_SlideMode", {Circuit, None, "kept, without effect"}},
    Row{"MTS_HasMaster", {Output, None, "a tuning source runs"}},
    Row{"VST3_CtrlAllNotesOff", {Command, None, "releases all keys"}},
    Row{"Panic", {Command, None, "silences everything"}},
    Row{"PresetLoading", {Command, None, "the bracket around a preset"}},
    Row{"GUI Visible", {Command, None, "the interface wants to know of the LFO"}},
    Row{"LFO Feedback", {Output, None, "stands for the data that show the LFO"}},
    Row{"ToolTipUpdate", {Command, None, "asks for the text of a parameter"}},
    Row{"ToolTipText", {Output, None, "stands for that text"}},
};

} // namespace

ParameterTraits InstrumentTraitsOf(std::string_view name) {
    if (name.starts_with("BodeVocoder_")) {
        return VocoderTraitsOf(name);
    }
    if (name.starts_with("Modulator_")) {
        return ModulatorTraitsOf(name);
    }
    if (name.starts_with("FX")) {
        return EffectTraitsOf(name);
    }
    return FindTraits(instrumentRows, name, CarrierTraitsOf(name));
}

} // namespace orphia::host
