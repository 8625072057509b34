// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/parameters/ParameterTable.h"

#include <array>

namespace orphia::plugin {

namespace {

constexpr auto vocoder = std::to_array<ListedParameter>({
    {"BodeVocoder_Wet", "Vocoder Mix"},
    {"BodeVocoder_Preamp_ProgramLevel", "Voice Level"},
    {"BodeVocoder_CarrierPreamp_CarrierLevel", "Carrier Level"},
    {"BodeVocoder_AnalyzerRectifiers_Attack", "Bands Attack"},
    {"BodeVocoder_AnalyzerRectifiers_Release", "Bands Release"},
    {"BodeVocoder_SynthesizerFilterBank_Shift", "Bands Shift"},
    {"BodeVocoder_SynthesizerFilterBank_Width", "Bands Width"},
    {"BodeVocoder_UnvoicedMode", "Unvoiced On"},
    {"BodeVocoder_HissBuzzDiscriminator_HissBuzzTrimmer", "Hiss/Buzz"},
    {"BodeVocoder_NoiseCarrierBalance_NoiseCarrierBalance", "Noise/Carrier"},
    {"BodeVocoder_NoiseCarrierBalance_NoiseMix", "Noise Mix"},
    {"BodeVocoder_HFChannel_HFMode", "Treble Noise"},
    {"BodeVocoder_HFChannel_HFLevel", "Treble Level"},
    {"BodeVocoder_PatchBay_SampleHold", "Freeze"},
    {"BodeVocoder_PatchBay_Activated", "Patch Bay On"},
    {"BodeVocoder_PatchBay_GainBand1", "Band 1"},
    {"BodeVocoder_PatchBay_GainBand2", "Band 2"},
    {"BodeVocoder_PatchBay_GainBand3", "Band 3"},
    {"BodeVocoder_PatchBay_GainBand4", "Band 4"},
    {"BodeVocoder_PatchBay_GainBand5", "Band 5"},
    {"BodeVocoder_PatchBay_GainBand6", "Band 6"},
    {"BodeVocoder_PatchBay_GainBand7", "Band 7"},
    {"BodeVocoder_PatchBay_GainBand8", "Band 8"},
    {"BodeVocoder_PatchBay_GainBand9", "Band 9"},
    {"BodeVocoder_PatchBay_GainBand10", "Band 10"},
    {"BodeVocoder_PatchBay_GainBand11", "Band 11"},
    {"BodeVocoder_PatchBay_GainBand12", "Band 12"},
    {"BodeVocoder_PatchBay_GainBand13", "Band 13"},
    {"BodeVocoder_PatchBay_GainBand14", "Band 14"},
    {"BodeVocoder_PatchBay_GainBand15", "Band 15"},
    {"BodeVocoder_PatchBay_GainBand16", "Band 16"},
});

constexpr auto voiceIn = std::to_array<ListedParameter>({
    {"Modulator_ExternalInput", "Live Voice"},
    {"Modulator_ExternalInputGain", "Voice Gain"},
    {"Modulator_VoiceInputGate_Threshold", "Gate Threshold"},
    {"Modulator_VoiceInputGate_Hold", "Gate Hold"},
    {"Modulator_ParamEQOn", "EQ On"},
    {"Modulator_ParamEq_Gain1", "EQ Gain 1"},
    {"Modulator_ParamEq_Gain2", "EQ Gain 2"},
    {"Modulator_ParamEq_Gain3", "EQ Gain 3"},
    {"Modulator_ParamEq_Gain4", "EQ Gain 4"},
    {"Modulator_ParamEq_Gain5", "EQ Gain 5"},
    {"Modulator_CompressorOn", "Comp On"},
    {"Modulator_CompressorAmount", "Comp Amount"},
});

constexpr auto sampler = std::to_array<ListedParameter>({
    {"Modulator_Sampler_MainVolume", "Sampler Volume"},
    {"Modulator_Sampler_Start", "Sample Start"},
    {"Modulator_Sampler_Coarse", "Sample Coarse"},
    {"Modulator_Sampler_Fine", "Sample Fine"},
    {"Modulator_Sampler_Filter", "Sample Filter"},
    {"Modulator_SamplerPlayMode", "Play Mode"},
    {"Modulator_CycleDirection", "Cycle Direction"},
    {"Modulator_CycleLockedSample", "Cycle Lock"},
    {"Modulator_ADSR_Decay", "Sample Decay"},
    {"Modulator_ADSR_Sustain", "Sample Sustain"},
});

constexpr auto carrier = std::to_array<ListedParameter>({
    {"Carrier_Oscillators_Osc1Waveform", "Osc 1 Wave"},
    {"Carrier_Oscillators_Osc1Coarse", "Osc 1 Pitch"},
    {"Carrier_Oscillators_Osc1Shape", "Osc 1 Shape"},
    {"Carrier_Oscillators_Osc1Volume", "Osc 1 Volume"},
    {"Carrier_Oscillators_Osc2Waveform", "Osc 2 Wave"},
    {"Carrier_Oscillators_Osc2Coarse", "Osc 2 Pitch"},
    {"Carrier_Oscillators_Osc2Fine", "Osc 2 Fine"},
    {"Carrier_Oscillators_Osc2Shape", "Osc 2 Shape"},
    {"Carrier_Oscillators_Osc2Volume", "Osc 2 Volume"},
    {"Carrier_Oscillators_Osc2KeyTrack", "Osc 2 Key Track"},
    {"Carrier_Oscillators_Sync", "Sync"},
    {"Carrier_Oscillators_FMAmount", "FM"},
    {"Attack", "Attack"},
    {"Carrier_Oscillators_ADSR_Decay", "Decay"},
    {"Carrier_Oscillators_ADSR_Sustain", "Sustain"},
    {"Release", "Release"},
    {"PolyphonyMode", "Voices"},
    {"Carrier_GlideTime", "Glide"},
    {"Carrier_EnsembleAmount", "Ensemble"},
    {"Carrier_PitchTrack", "Pitch Track"},
    {"Carrier_PitchTrackQuantize", "Track Semitones"},
    {"Carrier_PitchTrackHoldNoteDuration", "Track Hold"},
    {"ChordGenerator_ChordOn", "Chord On"},
    {"Carrier_MasterTune", "Tune"},
    {"PitchBendRange", "Bend Range"},
});

constexpr auto modulation = std::to_array<ListedParameter>({
    {"LFO_Enable", "LFO On"},
    {"LFO_Waveform", "LFO Wave"},
    {"LFO_InternalRateSyncedType", "LFO Rate Type"},
    {"LFO_RateUnSynced", "LFO Rate"},
    {"LFO_RateSynced", "LFO Beat"},
    {"LFO_Amp", "LFO Amount"},
    {"LFO_PhaseInit", "LFO Phase"},
    {"LFO_Swing", "LFO Swing"},
    {"LFO_Smooth", "LFO Smooth"},
    {"LFO_Fade", "LFO Fade"},
    {"LFO_Retrig", "LFO Retrigger"},
    {"EnvFollower_Enable", "Follower On"},
    {"EnvFollower_Input Gain", "Follower Gain"},
    {"EnvFollower_Attack", "Follower Attack"},
    {"EnvFollower_Release", "Follower Release"},
    {"Controls_Enable", "Controllers On"},
});

constexpr auto slot = std::to_array<ListedParameter>({
    {"ModuleType", "Type"},
    {"Bypass", "Bypass"},
    {"Dattorro_DryWet", "Reverb Mix"},
    {"Dattorro_Decay", "Reverb Decay"},
    {"Dattorro_Size", "Reverb Size"},
    {"Dattorro_Damping", "Reverb Damping"},
    {"Delay_DryWet", "Delay Mix"},
    {"Delay_Time", "Delay Time"},
    {"Delay_TempoSync", "Delay Sync"},
    {"Delay_SyncRate", "Delay Beat"},
    {"Delay_Feedback", "Delay Feedback"},
    {"Chorus_DryWet", "Chorus Mix"},
    {"Chorus_Freq", "Chorus Rate"},
    {"Chorus_Depth", "Chorus Depth"},
    {"Flanger_DryWet", "Flanger Mix"},
    {"Flanger_Freq", "Flanger Rate"},
    {"Flanger_Feedback", "Flanger Feedback"},
    {"Phaser_DryWet", "Phaser Mix"},
    {"Phaser_LFOFreq", "Phaser Rate"},
    {"Phaser_Feedback", "Phaser Feedback"},
    {"TS808_Drive", "Overdrive Drive"},
    {"TS808_Level", "Overdrive Level"},
    {"Compressor_Threshold", "Comp Threshold"},
    {"Compressor_OutputGain", "Comp Gain"},
    {"BitCrusher_Bits", "Crusher Bits"},
    {"BitCrusher_SampleRate", "Crusher Rate"},
    {"MultiModeFilter_Cutoff", "Filter Cutoff"},
    {"MultiModeFilter_Resonance", "Filter Resonance"},
    {"StereoPan_Pan", "Pan"},
    {"StereoPan_PanDepth", "Pan Depth"},
});

constexpr auto master = std::to_array<ListedParameter>({
    {"MasterVolume", "Master Volume"},
    {"OutputSelection", "Output"},
    {"FX_Enable", "Effects On"},
    {"FX_Routing", "Effects Routing"},
});

constexpr auto mpe = std::to_array<ListedParameter>({
    {"MPE_Enabled", "MPE On"},
    {"MPE_PitchRange", "MPE Bend Range"},
});

constexpr auto groups = std::to_array<ParameterGroup>({
    {"Vocoder", vocoder},
    {"Voice", voiceIn},
    {"Carrier", carrier},
    {"Sampler", sampler},
    {"Modulation", modulation},
    {"Master", master},
    {"MPE", mpe},
});

} // namespace

std::span<const ParameterGroup> PanelGroups() { return groups; }

std::span<const ListedParameter> SlotParameters() { return slot; }

} // namespace orphia::plugin
