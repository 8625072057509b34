// SPDX-License-Identifier: GPL-3.0-or-later
#include "golden/Scene.h"

namespace orphia::test {

namespace {

/// Three keys at a time, released before the end so that the ending is heard.
std::vector<Key> Chords(double end) {
    const double middle = 0.5 * end;
    return {{0.1, middle, 45}, {0.1, middle, 57, 0.5F}, {0.1, middle, 64},
            {middle, end, 43}, {middle, end, 59},       {middle, end, 62}};
}

std::vector<Scene> MakeScenes() {
    return {
        {.name = "default-chords",
         .what = "speech over two chords, as a new instrument plays",
         .keys = Chords(2.4)},
        {.name = "robot-line",
         .what = "one dry saw, one key at a time",
         .preset = "classic-robot",
         .keys = {{0.1, 0.9, 45}, {0.9, 1.5, 48}, {1.4, 2.2, 52}},
         .seconds = 2.5},
        {.name = "choir-hall",
         .what = "many slow voices, phaser and a long reverb",
         .preset = "talking-pad",
         .keys = Chords(2.0),
         .seconds = 4.0},
        {.name = "dub-echoes",
         .what = "echoes to the beat of 93 a minute",
         .preset = "dub-echo-robot",
         .keys = {{0.1, 0.7, 40}, {0.8, 1.3, 43}},
         .seconds = 4.0,
         .tempo = 93.0},
        {.name = "gate-on-the-beat",
         .what = "the LFO chops chords at 132 a minute",
         .preset = "rhythm-gate",
         .keys = Chords(2.6),
         .tempo = 132.0},
        {.name = "voice-gives-the-notes",
         .what = "no keys: a chord follows the pitch of the voice",
         .preset = "voice-harmony"},
        {.name = "carrier-follows",
         .what = "the carrier alone, one triangle at the pitch of the voice",
         .settings = {"OutputSelection=carrier", "Carrier_PitchTrack=on", "Osc1Waveform=triangle",
                      "Osc1Coarse=0 st", "Osc1Volume=-6 dB", "Osc2Volume=-70 dB", "EnsembleAmount=0"},
         .pitchFrom = 60.0,
         .pitchTo = 240.0},
        {.name = "unvoiced-alone",
         .what = "no keys: only hiss of the voice and the treble channel",
         .settings = {"HissBuzzTrimmer=0.3", "HFLevel=0.8", "UnvoicedMode=on"}},
        {.name = "whispered-keys", .what = "noise as the carrier", .preset = "whisper", .keys = Chords(2.2)},
        {.name = "slow-sample",
         .what = "a recorded sentence at a third of its speed, each chord elsewhere in it",
         .preset = "slow-speech",
         .keys = Chords(2.6),
         .speaks = false},
        {.name = "sampler-keys",
         .what = "keys choose samples: one as it is, one looped, backwards and a fifth up",
         .settings = {"OutputSelection=modulator", "Modulator_ExternalInput=off",
                      "Modulator_SamplerPlayMode=keys", "Modulator_KeyboardSampleOctave=3",
                      "Modulator_Sample2_LoopOn=on", "Modulator_Sampler_Slot2_Reverse=on",
                      "Modulator_Sampler_Slot2_Transpose=7 st", "Modulator_Sampler_Sample2_LoopStart=0.2",
                      "Modulator_Sampler_Sample2_LoopStop=0.3", "Modulator_CompressorOn=on",
                      "Modulator_CompressorAmount=0.6"},
         .samples = {"voice.flac", "chord.flac"},
         .keys = {{0.2, 1.4, 36}, {1.5, 2.6, 37}},
         .speaks = false},
        {.name = "legato-glide",
         .what = "the carrier alone, one voice that slides from key to key and is bent",
         .settings = {"OutputSelection=carrier", "PolyphonyMode=legato", "GlideTime=300 ms",
                      "EnsembleAmount=0", "Osc1Volume=-6 dB", "Osc2Volume=-70 dB"},
         .keys = {{0.1, 1.2, 45}, {1.0, 2.0, 57}, {1.9, 2.6, 52}},
         .messages = {{2.2, {0xE0, 0, 96}}},
         .speaks = false,
         .pitchFrom = 80.0,
         .pitchTo = 300.0},
        {.name = "chord-stack",
         .what = "the carrier alone: detuned saws, four notes for each key, six voices that are stolen",
         .settings = {"OutputSelection=carrier", "PolyphonyMode=6 voices", "ChordOn=on", "ChordKey1=on",
                      "ChordKey8=on", "ChordKey13=on", "ChordKey17=on", "Osc2Fine=0.12 st",
                      "EnsembleAmount=0.5"},
         .keys = {{0.1, 1.8, 36}, {0.6, 1.4, 43}, {1.2, 2.2, 40}},
         .speaks = false},
        {.name = "filter-envelopes",
         .what = "the carrier alone: short struck notes with decay, shapes, FM and the wheel",
         .settings = {"OutputSelection=carrier", "PolyphonyMode=8 voices", "Release=400 ms",
                      "ADSR_Decay=0.3 s", "Carrier_Oscillators_ADSR_Sustain=0.2", "Osc1Waveform=triangle",
                      "FMAmount=0.3", "Osc2Coarse=12 st"},
         .keys = {{0.1, 0.5, 45, 1.0F}, {0.7, 0.9, 50, 0.4F}, {1.3, 1.5, 57, 0.7F}},
         .messages = {{0.6, {0xB0, 1, 90}}},
         .speaks = false,
         .seconds = 2.5},
        {.name = "effects-space",
         .what = "reverb, delay and chorus in series",
         .settings = {"FX_Enable=on", "FX1_ModuleType=chorus", "FX2_ModuleType=delay",
                      "FX3_ModuleType=reverb", "FX2_Delay_Time=180 ms", "FX3_Dattorro_Decay=1.5 s"},
         .keys = Chords(1.5)},
        {.name = "effects-sweeps",
         .what = "flanger, phaser and filter in series",
         .settings = {"FX_Enable=on", "FX1_ModuleType=flanger", "FX2_ModuleType=phaser",
                      "FX3_ModuleType=filter", "FX1_Flanger_Freq=0.8 Hz", "FX2_Phaser_LFOFreq=0.9 Hz"},
         .keys = Chords(2.2),
         .seconds = 2.5},
        {.name = "effects-levels",
         .what = "equalizer, overdrive and compressor in series",
         .settings = {"FX_Enable=on", "FX1_ModuleType=equalizer", "FX2_ModuleType=overdrive",
                      "FX3_ModuleType=compressor", "FX1_ParamEq_On2=on", "FX1_ParamEq_Gain2=9 dB",
                      "FX1_ParamEq_On5=on", "FX1_ParamEq_Gain5=-6 dB", "FX3_Compressor_Threshold=-30 dB"},
         .keys = Chords(2.2),
         .seconds = 2.5},
        {.name = "effects-side-by-side",
         .what = "crusher, panner and nothing in parallel, a slot bypassed on the way",
         .settings = {"FX_Enable=on", "FX_Routing=parallel", "FX1_ModuleType=crusher",
                      "FX2_ModuleType=panner", "FX2_StereoPan_PanLFO_Rate=2 Hz"},
         .keys = Chords(2.2),
         .turns = {{1.0, "FX1_Bypass=on"}, {1.6, "FX1_Bypass=off"}},
         .seconds = 2.5},
    };
}

} // namespace

std::span<const Scene> Scenes() {
    static const std::vector<Scene> scenes = MakeScenes();
    return scenes;
}

} // namespace orphia::test
