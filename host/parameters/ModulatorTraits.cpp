// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterTraits.h"

#include <array>

namespace orphia::host {

namespace {

using enum ParameterRole;
using enum ParameterUnit;
using Row = TraitsRow;

constexpr std::array modulatorRows = {
    Row{"_Sampler_Start", {Control, None, "where a sample starts, between its trims"}},
    Row{"_Sampler_Freq", {Circuit, Hertz, "the key, for KeyTrack"}},
    Row{"_Sampler_Coarse", {Control, Semitone, "pitch of all samples"}},
    Row{"_Sampler_Fine", {Control, Semitone, "the same, in parts"}},
    Row{"_Slot#_Transpose", {Control, Semitone, "pitch; higher is also shorter"}},
    Row{"_Slot#_Fine", {Control, Semitone, "the same, in parts"}},
    Row{"_Slot#_RootNote", {Control, Hertz, "the pitch that counts as the sample's own; C4 leaves it"}},
    Row{"_Sample#_TrimStart", {Control, None, "first and last place of the sample that is played"}},
    Row{"_Sample#_TrimStop", {Control, None, "as TrimStart"}},
    Row{"_Sample#_LoopStart", {Control, None, "first and last place of the loop"}},
    Row{"_Sample#_LoopStop", {Control, None, "as LoopStart"}},
    Row{"_Sampler_Slot#_LoopOn",
        {Output, None, "what plays repeats: Sample#_LoopOn, while a key is down", true}},
    Row{"_Sample#_LoopOn", {Control, None, "repeats the loop while a key is down"}},
    Row{"_Slot#_LoopType", Choice("how it repeats", "forward|back and forth")},
    Row{"_Slot#_Reverse", {Control, None, "plays from the end", true}},
    Row{"_Slot#_RepeatOnce", {Control, None, "plays twice"}},
    Row{"_Sample#_Gain", {Control, Decibel, "level of the sample"}},
    Row{"_Slot#_Pan", {Control, None, "0 left, 0.5 middle, 1 right"}},
    Row{"_Sample#_CrossFade",
        {Control, None, "of the loop's length; needs as much sound between TrimStart and LoopStart"}},
    Row{"_Sample#_TimeStretchOn", {Control, None, "another length at the same pitch"}},
    Row{"_Sample#_TimeStretchFactor", {Control, None, "speed: 2 is half the length"}},
    Row{"_Sample#_TimeStretchBars",
        Choice("length to the beat", "1/32|1/16|1/8|1/4|1/2|1 bar|2 bars|4 bars|8 bars")},
    Row{"_Sample#_TimeStretchSync", {Control, None, "the length follows the beat, not the factor"}},
    Row{"_Sampler_SelectedSlot", {Circuit, None, "the sample that is played"}},
    Row{"_Sampler_Stereo", {Control, None, "both sides; else their middle", true}},
    Row{"_Sampler_IsStereo", {Output, None, "the sides differ"}},
    Row{"_Sampler_MainVolume", {Control, Decibel, "level of all samples; silent at the lower end"}},
    Row{"_Sampler_KeyTrack", {Circuit, None, "the pitch follows Freq", true}},
    Row{"_Sampler_PhaseRetrigMode", {Control, None, "each start is somewhere else"}},
    Row{"_Sampler_", {Circuit, None, "a new file restarts what sounds of the old one", true}},
    Row{"_Sampler_Filter", {Control, None, "below 0 darker, above 0 thinner"}},

    Row{"_ADSR_Attack", {Circuit, Second, "follows the one of the instrument"}},
    Row{"_ADSR_AttackCurve", {Control, None, "0 is straight"}},
    Row{"_ADSR_Decay", {Control, Second, "from the full level to that of Sustain"}},
    Row{"_ADSR_DecayCurve", {Control, None, "0 is straight"}},
    Row{"_ADSR_Sustain", {Control, None, "level while a key is down"}},
    Row{"_ADSR_Release", {Circuit, Second, "follows the one of the instrument"}},
    Row{"_ADSR_ReleaseCurve", {Control, None, "0 is straight"}},
    Row{"_ADSR_ReleaseLink", {Control, None, "the release is as the decay"}},
    Row{"_ADSR_ADRMode", {Control, None, "no sustain: a key only starts the envelope", true}},
    Row{"_ADSR_HardRetrig", {Circuit, None, "without effect: every start begins from silence", true}},
    Row{"_ADSR_GateIn", {Output, None, "a key is down"}},
    Row{"_ADSR_OutState", {Output, None, "stage of the envelope"}},
    Row{"_ADSR_OutStatePhase", {Output, None, "place in the stage"}},

    Row{"_AnalysisWindowSize", {Control, None, "samples at 44100 Hz; longer finds lower voices, later"}},
    Row{"_ConfidenceThreshold", {Control, None, "how sure a pitch must be: higher keeps breath out"}},
    Row{"_DetectedPitch", {Output, Hertz, "pitch of the external input"}},

    Row{"_ParamEq_Stereo", {Control, None, "both sides"}},
    Row{"_ParamEq_Scale", {Control, None, "how much of all gains"}},
    Row{"_ParamEq_SmoothOn", {Control, None, "changes glide", true}},
    Row{"_ParamEq_On#", {Control, None, "a band"}},
    Row{"_ParamEq_Mode#", Choice("of a band", "lowpass|bandpass|highpass|low shelf|bell|high shelf")},
    Row{"_ParamEq_Gain#", {Control, Decibel, "of a band"}},
    Row{"_ParamEq_Cutoff#", {Control, Hertz, "of a band"}},
    Row{"_ParamEq_Q#", {Control, None, "of a band; higher is narrower"}},

    Row{"_Compressor_Wet", {Control, None, "0 leaves the sound as it is"}},
    Row{"_Compressor_InputGain", {Control, Decibel, "level in front of the compressor"}},
    Row{"_Compressor_InGainCompensated", {Control, Decibel, "the same, and taken back behind it"}},
    Row{"_Compressor_OutputGain", {Circuit, Decibel, "follows CompressorAmount"}},
    Row{"_Compressor_Attack", {Circuit, Millisecond, "follows CompressorAmount"}},
    Row{"_Compressor_Release", {Circuit, Millisecond, "follows CompressorAmount"}},
    Row{"_Compressor_Threshold", {Circuit, Decibel, "follows CompressorAmount"}},
    Row{"_Compressor_Ratio", {Circuit, None, "follows CompressorAmount"}},
    Row{"_Compressor_RatioInfinite", {Control, None, "a limiter"}},
    Row{"_Compressor_KneeWidth", {Control, Decibel, "0 is a hard knee"}},
    Row{"_Compressor_Makeup", {Control, None, "raises what was compressed"}},
    Row{"_Compressor_StereoMode", {Control, None, "one gain for both sides"}},
    Row{"_Compressor_OutGainReduction", {Output, None, "how much is taken away"}},
    Row{"_Compressor_LevelMeasureSmoothAR", {Control, None, "measures a smoothed level"}},
    Row{"_Compressor_LevelMeasureAtMs", {Control, Millisecond, "how fast that level rises"}},
    Row{"_Compressor_LevelMeasureReMs", {Control, Millisecond, "how fast it falls"}},
    Row{"_Compressor_LookaheadEnable", {Control, None, "acts before a peak comes, with a delay"}},
    Row{"_Compressor_LookaheadTimeMs", {Control, Millisecond, "that delay"}},
    Row{"_Compressor_ConfStereo", {Control, None, "both sides"}},
    Row{"_Compressor_SideChain", {Circuit, None, "listens to another sound; there is none", true}},
    Row{"_Compressor_GRLimitEnable", {Control, None, "GRLimit is in force"}},
    Row{"_Compressor_GRLimit", {Control, Decibel, "the most that is taken away"}},

    Row{"_VoiceInputGate_Threshold", {Control, Decibel, "level that opens the external input"}},
    Row{"_VoiceInputGate_Hold", {Control, Second, "how long the level must last, and its pauses"}},
    Row{"_VoiceInputGate_Output", {Output, None, "the gate is open"}},
    Row{"_VuMeter_Calibration", Choice("where 0 VU is", "-18 dB|-14 dB|-8 dB")},
    Row{"_VuMeter_Output", {Output, Decibel, "level in VU"}},

    Row{"_Sample#_Path", {Circuit, None, "stands for the file; its number means nothing"}},
    Row{"_Sample#_Loaded", {Output, None, "the sample is there"}},
    Row{"_Sampler_PlayheadPosition", {Output, None, "place in the sample"}},
    Row{"_Legato", {Control, None, "only the first key starts a sample"}},
    Row{"_KeyboardSampleOctave", {Control, None, "the octave whose keys choose the samples"}},
    Row{"_SamplerPlayMode", Choice("what chooses the sample: the key, or its turn", "keys|cycle")},
    Row{"_CycleDirection", Choice("which one is next", "upward|downward|up and down|random")},
    Row{"_StopSampler", {Circuit, None, "command: stop"}},
    Row{"_IsPlayingSample", {Output, None, "a sample sounds"}},
    Row{"_CycleReset", {Circuit, None, "command: the cycle begins anew"}},
    Row{"_CycleLockedSample", {Control, None, "0 to 11 hold the cycle at a sample, 12 does not"}},
    Row{"_SlotGUITrigger", {Circuit, None, "command: play, as by a key"}},
    Row{"_CycleNextSlotFromGUI", {Circuit, None, "what that command plays in the cycle"}},
    Row{"_CycleNextPlayingSlot", {Circuit, None, "what the next key plays in the cycle"}},
    Row{"_Slot#_Sample", {Control, None, "the sample of a place in the cycle, from 0"}},
    Row{"_Modulator_SelectedSlot", {Circuit, None, "what a display shows"}},
    Row{"_CurrentSlot", {Circuit, None, "what is played"}},
    Row{"_SelectedSlotIsCurrentSlot", {Output, None, "these are the same"}},
    Row{"_ExternalInput", {Control, None, "a live voice instead of the samples"}},
    Row{"_ExternalInputGain", {Control, Decibel, "its level"}},
    Row{"_ExternalSignalHasBeenDetectedAtLeastOnce", {Output, None, "it has been heard"}},
    Row{"_ParamEQOn", {Control, None, "the equalizer"}},
    Row{"_CompressorOn", {Control, None, "the compressor"}},
    Row{"_CompressorAmount",
        {Control, None, "sets threshold, ratio, attack, release and level at once", false, true}},
};

} // namespace

ParameterTraits ModulatorTraitsOf(std::string_view name) { return FindTraits(modulatorRows, name); }

} // namespace orphia::host
