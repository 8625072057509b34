// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/ParameterTraits.h"

#include <array>

namespace orphia::host {

namespace {

using enum ParameterRole;
using enum ParameterUnit;
using Row = TraitsRow;

constexpr std::array rows = {
    Row{"_Osc#Waveform", {Control, None, "0 triangle, 1 saw, 2 square, 3 noise"}},
    Row{"_Osc#Coarse", {Control, None, "semitones"}},
    Row{"_Osc2Fine", {Control, None, "semitones, in parts"}},
    Row{"_Osc#Volume", {Control, Decibel, "level of an oscillator; silent at the lower end"}},
    Row{"_Osc2KeyTrack", {Control, None, "oscillator 2 follows the keys; else it stays at C4"}},
    Row{"_Osc#Shape", {Control, None, "drive and darkness, pulse width, or colour of the noise"}},
    Row{"_Sync", {Control, None, "oscillator 2 restarts oscillator 1"}},
    Row{"_FMAmount", {Control, None, "oscillator 2 moves the frequency of oscillator 1"}},
    Row{"Oscillators_Frequency", {Circuit, Hertz, "follows the keys"}},

    Row{"_ADSR_Attack", {Circuit, Second, "follows the one of the instrument"}},
    Row{"_ADSR_Release", {Circuit, Second, "follows the one of the instrument"}},
    Row{"_ADSR_AttackCurve", {Control, None, "0 is straight"}},
    Row{"_ADSR_Decay", {Control, Second, "from the full level to that of Sustain"}},
    Row{"_ADSR_DecayCurve", {Control, None, "0 is straight"}},
    Row{"_ADSR_Sustain", {Control, None, "level while a key is down"}},
    Row{"_ADSR_ReleaseCurve", {Control, None, "0 is straight"}},
    Row{"_ADSR_ReleaseLink", {Control, None, "the release is as the decay"}},
    Row{"_ADSR_ADRMode", {Control, None, "no sustain: a key only starts the envelope", true}},
    Row{"_ADSR_HardRetrig", {Control, None, "a new note begins from silence", true}},
    Row{"_ADSR_OutState", {Output, None, "stage of the envelope"}},
    Row{"_ADSR_OutStatePhase", {Output, None, "place in the stage"}},

    Row{"_GlideTime", {Control, Second, "time of a glide from note to note"}},
    Row{"_Glider_Time", {Circuit, Second, "follows GlideTime"}},
    Row{"_Glider_Speed", {Control, None, "glides of one speed, instead of one time", true}},
    Row{"_Glider_Quantize", {Control, None, "glides in semitones", true}},
    Row{"_Glider_StartFromLastTarget",
        {Control, None, "glides begin at the last note, not on the way to it"}},
    Row{"_Continuous_Tuning", {Circuit, None, "follows MTS_Retuning_Mode"}},
    Row{"_MasterTune", {Control, Hertz, "A4"}},
    Row{"_EnsembleAmount", {Control, None, "chorus; 0 leaves it out"}},
    Row{"_Ensemble_DryWet", {Circuit, None, "follows EnsembleAmount"}},
    Row{"_PitchTrack", {Circuit, None, "without effect: there is no voice to follow"}},
    Row{"_PitchTrackHoldNoteDuration", {Circuit, Second, "without effect, as PitchTrack"}},
    Row{"_PitchTrackQuantize", {Circuit, None, "without effect, as PitchTrack"}},

    Row{"LFO_Enable", {Control, None, "the routes of source 2, the LFO, are in force", true}},
    Row{"Controls_Enable",
        {Control, None, "the routes of sources 4 to 8, what is played, are in force", true}},
    Row{"EnvFollower_Enable", {Circuit, None, "the routes of source 1 are in force; it hears nothing", true}},
    Row{"EnvFollower_Input Gain", {Circuit, Decibel, ""}},
    Row{"LFO_InternalRateSyncedType", {Control, None, "rate: 0 free, 1 to the beat, 2 dotted, 3 triplets"}},
    Row{"LFO_InternalCycleMode", {Control, None, "the LFO runs on; else once for each note", true}},
    Row{"LFO_Retrig", {Control, None, "a note restarts its LFO", true}},
    Row{"LFO_RateUnSynced", {Control, Hertz, "free rate"}},
    Row{"LFO_RateSynced",
        {Control, None, "length to the beat: 0 eight bars, 3 one bar, 5 a quarter, 8 a 32nd"}},
    Row{"LFO_PhaseInit", {Control, None, "where the LFO starts, in degrees"}},
    Row{"LFO_Swing", {Control, None, "percent; 50 is even"}},
    Row{"LFO_Waveform", {Control, None, "0 sine, 1 triangle, 2 falling, 3 rising, 4 square, 5 random steps"}},
    Row{"LFO_Amp", {Control, None, "height"}},
    Row{"LFO_Smooth", {Control, Second, "rounds its corners"}},
    Row{"LFO_Fade", {Control, Second, "fades in after a note's start"}},
    Row{"LFO_Unipolar", {Control, None, "0 to 1, instead of -1 to 1", true}},
    Row{"LFO_Mode", {Circuit, None, "follows LFO_InternalCycleMode"}},
    Row{"LFO_MidiSync", {Circuit, None, "follows LFO_InternalRateSyncedType"}},
    Row{"LFO_RateSyncedType", {Circuit, None, "follows LFO_InternalRateSyncedType"}},
    Row{"LFO_CurrentPhaseFeedback", {Output, None, "phase of the LFO"}},
    Row{"LFO_CurrentValueLFeedback", {Output, None, "value of the LFO"}},
    Row{"Modulations_Dst#_Src#_Amount", {Route, None, "how much a source moves a destination"}},
    Row{"Modulations_Dst#_Src#_Activated", {Route, None, "the cell is in force"}},

    Row{"_ChordOn", {Control, None, "each key plays the chord of the ChordKeys that are on"}},
    Row{"_ChordKey#", {Control, None, "an interval of the chord; 1 is the key itself"}},
    Row{"_RecordMode", {Controller, None, "the keys that are played make the chord"}},

    Row{"MasterVolume", {Control, Decibel, "level of the whole"}},
    Row{"PolyphonyMode", {Control, None, "0 mono, 1 legato, from 2 on: 2 3 4 5 6 7 8 12 16 24 32 voices"}},
    Row{"PitchBendRange", {Control, None, "semitones"}},
    Row{"MPE_Enabled", {Control, None, "each channel has its own bend, pressure and brightness"}},
    Row{"MPE_PitchRange", {Control, None, "semitones of a channel's bend"}},
    Row{"MTS_Retuning_Mode", {Control, None, "the tuning may change while a note sounds"}},
    Row{"VST3_PitchBend", {Controller, None, "the bend"}},
    Row{"VST3_CtrlModWheel", {Controller, None, "controller 1"}},
    Row{"VST3_CtrlSustainOnOff", {Controller, None, "controller 64", true}},
    Row{"VST3_AfterTouch", {Controller, None, "pressure of a channel"}},
    Row{"MPE_GlobalBrightness", {Controller, None, "controller 74 of the master"}},
    Row{"MPE_PitchBend_#", {Controller, None, "the bend of a channel, from 0"}},
    Row{"MPE_Aftertouch_#", {Controller, None, "pressure of a channel, from 0"}},
    Row{"MPE_Brightness_#", {Controller, None, "controller 74 of a channel, from 0"}},
    Row{"EnvFollower_Attack", {Circuit, Second, ""}},
    Row{"EnvFollower_Release", {Circuit, Second, ""}},
    Row{"Attack", {Control, Second, "how fast a note rises"}},
    Row{"Release", {Control, Second, "how fast it dies away"}},
};

} // namespace

ParameterTraits CarrierTraitsOf(std::string_view name) { return FindTraits(rows, name); }

} // namespace orphia::host
