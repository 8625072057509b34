// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterTraits.h"
#include "vocoder/wiring/Wiring.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using enum ParameterRole;
using enum ParameterUnit;
using Row = TraitsRow;

constexpr std::array carrierRows = {
    Row{"_Osc#Waveform", Choice("what it sounds like", "triangle|saw|square|noise")},
    Row{"_Osc#Coarse", {Control, Semitone, "pitch"}},
    Row{"_Osc2Fine", {Control, Semitone, "pitch, in parts"}},
    Row{"_Osc#Volume", {Control, Decibel, "level of an oscillator; silent at the lower end"}},
    Row{"_Osc2KeyTrack", {Control, None, "oscillator 2 follows the keys; else it stays at C4"}},
    Row{"_Osc#Shape",
        {Control, None,
         "drive and darkness, pulse width (0.5 to 0.785, modulated too), or colour of the noise"}},
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
    Row{"_ADSR_HardRetrig", {Circuit, None, "without effect: every note begins from silence", true}},
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
    Row{"_PitchTrack", {Control, None, "a chord of up to 25 notes follows the pitch of the external voice"}},
    Row{"_PitchTrackHoldNoteDuration", {Control, Second, "how long a note outlasts the pitch"}},
    Row{"_PitchTrackQuantize", {Control, None, "the pitch in whole semitones"}},

    Row{"LFO_Enable", {Control, None, "the routes of source 2, the LFO, are in force", true}},
    Row{"Controls_Enable",
        {Control, None, "the routes of sources 4 to 8, what is played, are in force", true}},
    Row{"EnvFollower_Enable",
        {Control, None, "the routes of source 1, the level of the voice, are in force", true}},
    Row{"EnvFollower_Input Gain", {Control, Decibel, "how loud the voice is taken"}},
    Row{"LFO_InternalRateSyncedType", Choice("rate", "free|beats|dotted|triplet")},
    Row{"LFO_InternalCycleMode", {Control, None, "the LFO runs on; else once for each note", true}},
    Row{"LFO_Retrig", {Control, None, "a note restarts its LFO", true}},
    Row{"LFO_RateUnSynced", {Control, Hertz, "free rate"}},
    Row{"LFO_RateSynced", Choice("length to the beat", "8 bars|4 bars|2 bars|1 bar|1/2|1/4|1/8|1/16|1/32")},
    Row{"LFO_PhaseInit", {Control, Degree, "where the LFO starts"}},
    Row{"LFO_Swing", {Control, Percent, "50 % is even"}},
    Row{"LFO_Waveform", Choice("its shape", "sine|triangle|falling|rising|square|random")},
    Row{"LFO_Amp", {Control, None, "height"}},
    Row{"LFO_Smooth", {Control, Second, "rounds its corners"}},
    Row{"LFO_Fade", {Control, Second, "fades in after a note's start"}},
    Row{"LFO_Unipolar", {Control, None, "0 to 1, instead of -1 to 1", true}},
    Row{"LFO_Mode", {Circuit, None, "follows LFO_InternalCycleMode"}},
    Row{"LFO_MidiSync", {Circuit, None, "follows LFO_InternalRateSyncedType"}},
    Row{"LFO_RateSyncedType", {Circuit, None, "follows LFO_InternalRateSyncedType"}},
    Row{"LFO_CurrentPhaseFeedback", {Output, None, "phase of the LFO"}},
    Row{"LFO_CurrentValueLFeedback", {Output, None, "value of the LFO"}},
    Row{"Modulations_Dst#_Src#_Activated", {Circuit, None, "follows the switch of its source"}},

    Row{"_ChordOn", {Control, None, "each key plays the chord of the ChordKeys that are on"}},
    Row{"_ChordKey#", {Control, None, "an interval of the chord; 1 is the key itself"}},
    Row{"_RecordMode", {Controller, None, "the keys that are played make the chord"}},

    Row{"MasterVolume", {Control, Decibel, "level of the whole"}},
    Row{"PolyphonyMode", Choice("how many voices",
                                "mono|legato|2 voices|3 voices|4 voices|5 voices|6 voices|7 voices|8 voices|"
                                "12 voices|16 voices|24 voices|32 voices")},
    Row{"PitchBendRange", {Control, Semitone, "reach of the bend"}},
    Row{"MPE_Enabled", {Control, None, "each channel has its own bend, pressure and brightness"}},
    Row{"MPE_PitchRange", {Control, Semitone, "reach of a channel's bend"}},
    Row{"MTS_Retuning_Mode", {Control, None, "the tuning may change while a note sounds"}},
    Row{"VST3_PitchBend", {Controller, None, "the bend"}},
    Row{"VST3_CtrlModWheel", {Controller, None, "controller 1"}},
    Row{"VST3_CtrlSustainOnOff", {Controller, None, "controller 64", true}},
    Row{"VST3_AfterTouch", {Controller, None, "pressure of a channel"}},
    Row{"MPE_GlobalBrightness", {Controller, None, "controller 74 of the master"}},
    Row{"MPE_PitchBend_#", {Controller, None, "the bend of a channel, from 0"}},
    Row{"MPE_Aftertouch_#", {Controller, None, "pressure of a channel, from 0"}},
    Row{"MPE_Brightness_#", {Controller, None, "controller 74 of a channel, from 0"}},
    Row{"EnvFollower_Attack", {Control, Second, "how fast the level rises"}},
    Row{"EnvFollower_Release", {Control, Second, "how fast it falls"}},
    Row{"EnvFollower_RMSWindowDurationMs", {Control, Millisecond, "length of the mean; 0 takes peaks"}},
    Row{"EnvFollower_FixedLinearGain", {Circuit, None, ""}},
    Row{"EnvFollower_StereoInput", {Circuit, None, "both sides", true}},
    Row{"EnvFollower_Threshold", {Control, Decibel, "what is softer counts as silence"}},
    Row{"EnvFollower_ThresholdActive", {Control, None, "Threshold is in force", true}},
    Row{"Attack", {Control, Second, "how fast a note rises"}},
    Row{"Release", {Control, Second, "how fast it dies away"}},
};

using Velmora::Processor::sourceTexts;
using Velmora::Processor::wiring;

/// A text for each route of the matrix, destination by destination.
std::vector<std::string> MakeRouteTexts() {
    std::vector<std::string> texts;
    for (const auto& wire : wiring) {
        for (const std::string_view source : sourceTexts) {
            texts.push_back(fmt::format("how much {} moves {}", source, wire.text));
        }
    }
    return texts;
}

/// Of the amount of a route; empty for any other name.
std::string_view RouteText(std::string_view name) {
    static const std::vector<std::string> texts = MakeRouteTexts();
    unsigned destination = 0;
    unsigned source = 0;
    int length = 0;
    const std::string text(name);
    if (std::sscanf(text.c_str(), "Modulations_Dst%u_Src%u_Amount%n", &destination, &source, &length) != 2 ||
        length == 0) {
        return {};
    }
    return texts[(destination - 1) * sourceTexts.size() + source - 1];
}

} // namespace

ParameterTraits CarrierTraitsOf(std::string_view name) {
    const std::string_view route = RouteText(name);
    return route.empty() ? FindTraits(carrierRows, name) : ParameterTraits{Route, None, route};
}

} // namespace orphia::host
