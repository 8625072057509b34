// SPDX-License-Identifier: GPL-3.0-or-later
// Which controls stand on the first page, and where.
#include "plugin/panel/model/layout/Layout.h"

#include <array>

namespace orphia::panel::MainLayout {

namespace {

using Height = Row::Height;
using enum ControlKind;

constexpr auto source = std::to_array<Cell>({
    {"Modulator_ExternalInput", "Live voice", Switch, 1},
});
constexpr auto gate = std::to_array<Cell>({
    {"Modulator_ExternalInputGain", "Gain"},
    {"Modulator_VoiceInputGate_Threshold", "Gate"},
    {"Modulator_VoiceInputGate_Hold", "Hold"},
});
constexpr auto shaping = std::to_array<Cell>({
    {"Modulator_ParamEQOn", "EQ", Switch},
    {"Modulator_CompressorOn", "Comp", Switch},
});
constexpr auto bandsOfEqualiser = std::to_array<Cell>({
    {"Modulator_ParamEq_Gain1", "Low", Slider},
    {"Modulator_ParamEq_Gain2", "2", Slider},
    {"Modulator_ParamEq_Gain3", "3", Slider},
    {"Modulator_ParamEq_Gain4", "4", Slider},
    {"Modulator_ParamEq_Gain5", "High", Slider},
});
constexpr auto compressor = std::to_array<Cell>({
    {"Modulator_CompressorAmount", "Amount", Slider},
});
constexpr auto voiceRows = std::to_array<Row>({
    {Height::Line, source},
    {Height::Knobs, gate},
    {Height::Line, shaping},
    {Height::Faders, bandsOfEqualiser},
    {Height::Line, compressor},
});
// The level of the voice stands below.
constexpr Section voiceIn{"Voice in", {0, 0, 172, 312}, voiceRows};

constexpr auto playMode = std::to_array<Cell>({
    {"Modulator_SamplerPlayMode", "Play", Choice},
});
constexpr auto samplerKnobs = std::to_array<Cell>({
    {"Modulator_Sampler_MainVolume", "Volume"},
    {"Modulator_Sampler_Start", "Start"},
    {"Modulator_Sampler_Filter", "Filter"},
});
constexpr auto samplerRows = std::to_array<Row>({{Height::Line, playMode}, {Height::Knobs, samplerKnobs}});
// The twelve slots stand below.
constexpr Section sampler{"Sampler", {0, 320, 172, 200}, samplerRows};

constexpr auto vocoderKnobs = std::to_array<Cell>({
    {"BodeVocoder_Wet", "Mix"},
    {"BodeVocoder_Preamp_ProgramLevel", "Voice"},
    {"BodeVocoder_CarrierPreamp_CarrierLevel", "Carrier"},
    {"BodeVocoder_AnalyzerRectifiers_Attack", "Attack"},
    {"BodeVocoder_AnalyzerRectifiers_Release", "Release"},
    {"BodeVocoder_SynthesizerFilterBank_Shift", "Shift"},
    {"BodeVocoder_SynthesizerFilterBank_Width", "Width"},
    {"BodeVocoder_HissBuzzDiscriminator_HissBuzzTrimmer", "Hiss/Buzz"},
    {"BodeVocoder_NoiseCarrierBalance_NoiseCarrierBalance", "Noise/Car."},
    {"BodeVocoder_HFChannel_HFLevel", "Treble"},
});
constexpr auto vocoderSwitches = std::to_array<Cell>({
    {"BodeVocoder_PatchBay_SampleHold", "Freeze", Switch},
    {"BodeVocoder_PatchBay_Activated", "Patch bay", Switch},
    {"BodeVocoder_UnvoicedMode", "Own gates", Switch},
    {"BodeVocoder_NoiseCarrierBalance_NoiseMix", "Noise mix", Switch},
    {"BodeVocoder_HFChannel_HFMode", "Treble always", Switch},
});
constexpr auto vocoderRows =
    std::to_array<Row>({{Height::Knobs, vocoderKnobs}, {Height::Line, vocoderSwitches}});
constexpr Section vocoder{"Vocoder", {180, 388, 600, 132}, vocoderRows};

constexpr auto firstOscillator = std::to_array<Cell>({
    {"Carrier_Oscillators_Osc1Waveform", "Osc 1", Choice},
    {"Carrier_Oscillators_Osc1Coarse", "Pitch", Knob},
    {"Carrier_Oscillators_Osc1Shape", "Shape"},
    {"Carrier_Oscillators_Osc1Volume", "Volume"},
    {"Carrier_Oscillators_FMAmount", "FM"},
    {"Carrier_Oscillators_Sync", "Sync", Switch},
});
constexpr auto secondOscillator = std::to_array<Cell>({
    {"Carrier_Oscillators_Osc2Waveform", "Osc 2", Choice},
    {"Carrier_Oscillators_Osc2Coarse", "Pitch", Knob},
    {"Carrier_Oscillators_Osc2Shape", "Shape"},
    {"Carrier_Oscillators_Osc2Volume", "Volume"},
    {"Carrier_Oscillators_Osc2Fine", "Fine"},
    {"Carrier_Oscillators_Osc2KeyTrack", "Keys", Switch},
});
constexpr auto notes = std::to_array<Cell>({
    {"PolyphonyMode", "Voices", Choice},
    {"Attack", "Attack"},
    {"Carrier_Oscillators_ADSR_Decay", "Decay"},
    {"Carrier_Oscillators_ADSR_Sustain", "Sustain"},
    {"Release", "Release"},
    {"Carrier_GlideTime", "Glide"},
});
constexpr auto tuning = std::to_array<Cell>({
    {"Carrier_EnsembleAmount", "Ensemble"},
    {"Carrier_MasterTune", "Tune"},
    {"PitchBendRange", "Bend", Knob},
    {"ChordGenerator_ChordOn", "Chord", Switch},
    {"Carrier_PitchTrack", "Track", Switch},
    {"Carrier_PitchTrackQuantize", "Semitones", Switch},
});
constexpr auto carrierRows = std::to_array<Row>({
    {Height::Knobs, firstOscillator},
    {Height::Knobs, secondOscillator},
    {Height::Knobs, notes},
    {Height::Knobs, tuning},
});
constexpr Section carrier{"Carrier", {788, 0, 368, 312}, carrierRows};

constexpr auto volume = std::to_array<Cell>({
    {"MasterVolume", "Volume", Knob, 3},
});
constexpr auto output = std::to_array<Cell>({
    {"OutputSelection", "Output", Choice, 3},
});
constexpr auto masterRows = std::to_array<Row>({{Height::Knobs, volume, 4}, {Height::Line, output, 4}});
// The levels stand beside the volume.
constexpr Section master{"Master", {1028, 320, 128, 200}, masterRows};

} // namespace

const Section& VoiceIn() { return voiceIn; }
const Section& Sampler() { return sampler; }
const Section& Vocoder() { return vocoder; }
const Section& Carrier() { return carrier; }
const Section& Master() { return master; }

std::vector<const Section*> Sections() { return {&voiceIn, &sampler, &vocoder, &carrier, &master}; }

} // namespace orphia::panel::MainLayout
