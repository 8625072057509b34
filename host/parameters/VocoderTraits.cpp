// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterTraits.h"

#include <array>

namespace orphia::host {

namespace {

using enum ParameterRole;
using enum ParameterUnit;
using Row = TraitsRow;

constexpr std::array vocoderRows = {
    Row{"BodeVocoder_Wet", {Control, None, "mix: 0 is the modulator alone, 1 the vocoder alone"}},
    Row{"_Preamp_ProgramLevel", {Control, Decibel, "level of the modulator into the analysis"}},
    Row{"_CarrierLevel", {Control, Decibel, "level of the carrier into the VCAs"}},
    Row{"_AnalyzerRectifiers_Attack", {Control, Second, "how fast the bands rise"}},
    Row{"_AnalyzerRectifiers_Release", {Control, Second, "how fast the bands fall"}},
    Row{"_Shift", {Control, None, "moves the synthesis bands down or up"}},
    Row{"_Width", {Control, None, "narrows or widens the synthesis bands"}},
    Row{"_HissBuzzTrimmer", {Control, None, "bias of the decision: low is unvoiced, high is voiced"}},
    Row{"_NoiseCarrierBalance_NoiseCarrierBalance",
        {Control, None, "0 is the noise alone, 0.5 both in full, 1 the carrier alone"}},
    Row{"_NoiseMix", {Control, None, "noise takes the smoothed envelopes too", true}},
    Row{"_HFLevel", {Control, None, "level of the modulator's own treble"}},
    Row{"_HFMode", {Control, None, "treble always, instead of in unvoiced sounds only"}},
    Row{"BodeVocoder_UnvoicedMode", {Control, None, "the four gate frequencies are in force"}},
    Row{"BodeVocoder_NoiseGateAttack", {Control, Hertz, "noise gate, opening"}},
    Row{"BodeVocoder_NoiseGateRelease", {Control, Hertz, "noise gate, closing"}},
    Row{"BodeVocoder_HFAttack", {Control, Hertz, "treble gate, opening"}},
    Row{"BodeVocoder_HFRelease", {Control, Hertz, "treble gate, closing"}},
    Row{"_GainBand#", {Control, None, "gain of an analysis band"}},
    Row{"_SampleHold", {Control, None, "freezes the bands"}},
    Row{"_PatchBay_Activated", {Control, None, "the routes of the patch bay are in force"}},
    Row{"_Analysis#_Synthesis#", {Route, None, "amount of an analysis band on a synthesis band"}},
    Row{"BodeVocoder_NoiseLevel", {Circuit, Decibel, "kept, without effect"}},
    Row{"BodeVocoder_BuzzSwitched", {Circuit, None, "kept, without effect", true}},
    Row{"_NoiseType", {Circuit, None, "colour of the noise source"}},
    Row{"_Attack", {Circuit, Second, "follows the one of all bands"}},
    Row{"_Release", {Circuit, Second, "follows the one of all bands"}},
    Row{"_AttackHF", {Circuit, Hertz, "follows the mode of unvoiced sounds"}},
    Row{"_ReleaseHF", {Circuit, Hertz, "follows the mode of unvoiced sounds"}},
    Row{"_FcLP", {Circuit, Hertz, ""}},
    Row{"_FcHP", {Circuit, Hertz, ""}},
    Row{"_Fc", {Circuit, Hertz, ""}},
    Row{"LED", {Output, None, "a light"}},
    Row{"_CVFB#", {Output, None, "meter of a band"}},
};

} // namespace

ParameterTraits VocoderTraitsOf(std::string_view name) { return FindTraits(vocoderRows, name); }

} // namespace orphia::host
