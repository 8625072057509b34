// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ParameterTraits.h"

#include <array>

namespace orphia::host {

namespace {

using enum ParameterRole;
using enum ParameterUnit;
using Row = TraitsRow;

constexpr std::string_view types =
    "none|reverb|delay|chorus|flanger|phaser|overdrive|compressor|crusher|filter|"
    "equalizer|panner";
/// Of a cycle and of an echo, to the beat of four quarters.
constexpr std::string_view cycles = "8 bars|4 bars|3 bars|2 bars|6 beats|1 bar|1/2 dotted|1/2|1/4 dotted|1/4|"
                                    "1/4 triplet|1/8";
constexpr std::string_view echoes =
    "1/1|1/2 dotted|1/2|1/4 dotted|1/2 triplet|1/4|1/8 dotted|1/4 triplet|1/8|"
    "1/16 dotted|1/8 triplet|1/16|1/32 dotted|1/16 triplet|1/32";
constexpr std::string_view sweepShapes = "sine|triangle|rising|falling|square|random steps|random|pattern";

constexpr std::array effectRows = {
    Row{"FX_Routing", Choice("the slots one after the other, or side by side", "series|parallel")},
    Row{"FX_Enable", {Control, None, "all effects"}},
    Row{"_ModuleType", Choice("the effect of the slot", types)},
    Row{"FX#_Bypass", {Control, None, "the slot passes its input"}},
    Row{"_CopyOnBypass", {Circuit, None, "a bypassed slot passes its input; else it is silent"}},
    Row{"_CrossfadeOnBypass", {Circuit, None, "a bypass does not click"}},
    Row{"_FadeOnModuleChange", {Circuit, None, "a change of the effect does not click"}},
    Row{"_BypassUselessParam", {Circuit, None, "without effect"}},
    Row{"FX#_Dry_Wet", {Control, None, "sets DryWetMode of delay and flanger", false, true}},
    Row{"FX#_StereoPan_LFOSimple_RateType",
        Choice("sets the rate type of both LFOs of the panner", "Hz|beats|dotted|triplet")},

    // What several effects have.
    Row{"FX#_StereoPan_DryWet", {Control, None, "0 is dry, 1 is wet"}},
    Row{"_DryWet", {Control, None, "0 is dry, 1 is wet"}},
    Row{"_DryWetMode", {Control, None, "the wet sound alone, whatever DryWet says"}},
    Row{"_WetGain", {Control, Decibel, "level of the wet sound"}},
    Row{"_TempoSync", {Control, None, "to the beat, as SyncRate says"}},
    Row{"_LowCut", {Control, Hertz, "takes away what is below"}},
    Row{"_HighCut", {Control, Hertz, "takes away what is above"}},
    Row{"_Dattorro_SyncRate", Choice("pre-delay to the beat", echoes)},
    Row{"_Delay_SyncRate", Choice("time to the beat; above 2 s halved", echoes)},
    Row{"_SyncRate", Choice("length of a swing to the beat", cycles)},

    Row{"_Dattorro_PreDelay", {Control, Millisecond, "before the reverb begins"}},
    Row{"_Dattorro_Decay", {Control, Second, "until the reverb is 60 dB down"}},
    Row{"_Dattorro_Size", {Control, None, "size of the plate"}},
    Row{"_Dattorro_Damping", {Control, Hertz, "what is above dies away faster"}},
    Row{"_Dattorro_InputDiffusion#", {Control, None, "how soon the reverb is dense"}},
    Row{"_Dattorro_DecayDiffusion#", {Control, None, "how dense its tail is"}},
    Row{"_Dattorro_ModRate", {Control, Hertz, "how fast the plate swings"}},
    Row{"_Dattorro_ModDepth", {Control, Millisecond, "how far it swings"}},
    Row{"_Dattorro_Freeze", {Control, None, "the tail sounds for ever"}},

    Row{"_Delay_Time", {Control, Millisecond, "to the first echo"}},
    Row{"_Delay_Offset", {Control, None, "above 0 the right echo comes earlier, below 0 the left one"}},
    Row{"_Delay_Feedback", {Control, None, "level of an echo against the one before"}},
    Row{"_Delay_Mode", Choice("how the sides are linked", "stereo|ping-pong|cross")},
    Row{"_Delay_Wow", {Control, Millisecond, "how unsteady the tape runs"}},
    Row{"_Delay_Saturation", {Control, None, "how soon the tape saturates"}},

    Row{"_Chorus_Delay", {Control, Millisecond, "middle of the swing"}},
    Row{"_Chorus_Depth", {Control, Millisecond, "how far it swings"}},
    Row{"_Chorus_Freq", {Control, Hertz, "how fast it swings"}},
    Row{"_Chorus_Feedback", {Control, None, "how much comes back"}},
    Row{"_Chorus_StereoMode", Choice("what the sides are", "mono|wide|cross")},
    Row{"_Chorus_Voices", {Control, None, "per side"}},
    Row{"_Chorus_LFOShape", Choice("of the swing", "sine|triangle|double sine|random")},
    Row{"_Chorus_Spread", {Control, None, "how far the voices are apart"}},
    Row{"_Chorus_Drift", {Control, None, "a slow random way of each voice"}},

    Row{"_Flanger_Delay", {Control, Millisecond, "middle of the swing"}},
    Row{"_Flanger_Depth", {Control, Millisecond, "how far it swings"}},
    Row{"_Flanger_Freq", {Control, Hertz, "how fast it swings"}},
    Row{"_Flanger_Feedback", {Control, None, "how much comes back, upside down below 0"}},
    Row{"_Flanger_LFOShape", Choice("of the swing", "sine|triangle|even|random")},
    Row{"_Flanger_StereoPhase", {Control, Degree, "by which the right side is ahead"}},
    Row{"_Flanger_ThroughZero", {Control, None, "the swing crosses the dry sound"}},
    Row{"_Flanger_Invert", {Control, None, "the wet sound upside down"}},
    Row{"_Flanger_Manual", {Control, Millisecond, "on top of the delay"}},
    Row{"_Flanger_Drive", {Control, None, "how soon the line saturates"}},

    Row{"_Phaser_Freq", {Control, Hertz, "middle of the sweep"}},
    Row{"_Phaser_Feedback", {Control, None, "resonance; below 0 narrow notches"}},
    Row{"_Phaser_Stages", {Control, None, "two make a notch"}},
    Row{"_Phaser_Spread", {Control, None, "octaves from the lowest to the highest stage"}},
    Row{"_Phaser_Depth", {Control, None, "octaves of the sweep, either way"}},
    Row{"_Phaser_LFOFreq", {Control, Hertz, "how fast it sweeps"}},
    Row{"_Phaser_LFOShape", Choice("of the sweep", sweepShapes)},
    Row{"_Phaser_LFOPhase", {Control, Degree, "where a sweep starts"}},
    Row{"_Phaser_StereoPhase", {Control, Degree, "by which the right side is ahead"}},
    Row{"_Phaser_StereoOffset", {Control, None, "octaves by which the right side is higher"}},
    Row{"_Phaser_LFOGlide", {Control, Millisecond, "rounds off the sweep"}},
    Row{"_Phaser_EnvAmount", {Control, None, "octaves that the level moves the stages"}},
    Row{"_Phaser_EnvAttack", {Control, Millisecond, "how fast the level rises"}},
    Row{"_Phaser_EnvRelease", {Control, Millisecond, "how fast it falls"}},
    Row{"_Phaser_Drive", {Control, Decibel, "saturation in front of the stages"}},
    Row{"_Phaser_CrossFeedback", {Control, None, "how much of the feedback changes sides"}},
    Row{"_Phaser_Invert", {Control, None, "a notch becomes a peak"}},
    Row{"_Phaser_PatternLength", {Control, None, "steps of the shape pattern"}},
    Row{"_Phaser_Step#", {Control, None, "height of a step of the pattern"}},

    Row{"_TS808_Drive", {Control, Decibel, "gain of the clipping stage"}},
    Row{"_TS808_Tone", {Control, None, "from dark to bright"}},
    Row{"_TS808_Input", {Control, Decibel, "level in front of the circuit"}},
    Row{"_TS808_Level", {Control, Decibel, "level behind the circuit"}},
    Row{"_TS808_Bias", {Control, None, "clips one half of the wave earlier"}},

    Row{"_BitCrusher_Bits", {Control, None, "resolution"}},
    Row{"_BitCrusher_SampleRate", {Control, Hertz, "of the converter"}},
    Row{"_BitCrusher_Jitter", {Control, None, "how irregular its clock is"}},
    Row{"_BitCrusher_Dither", {Control, None, "noise in front of it, in steps"}},
    Row{"_BitCrusher_Curve", {Control, None, "0: equal steps; above: fine ones for soft sounds"}},
    Row{"_BitCrusher_AntiAlias", {Control, None, "a filter in front of it"}},
    Row{"_BitCrusher_Drive", {Control, Decibel, "level in front of it"}},
    Row{"_BitCrusher_Bias", {Control, None, "shift of its levels, in steps"}},
    Row{"_BitCrusher_BitErrors", {Control, None, "share of the samples with a wrong bit"}},
    Row{"_BitCrusher_Slope", {Control, None, "from steps to ramps"}},
    Row{"_BitCrusher_Shaping", {Control, None, "moves the noise to the treble"}},
    Row{"_BitCrusher_Split", {Control, Cent, "between the clocks of left and right"}},

    Row{"_MultiModeFilter_Cutoff", {Control, Hertz, "where the filter cuts"}},
    Row{"_MultiModeFilter_Resonance", {Control, None, "the filter itself sounds from about 0.94 on"}},
    Row{"_MultiModeFilter_Mode", {Control, None, "0 lowpass, 1 bandpass, 2 highpass, 3 notch, and between"}},
    Row{"_MultiModeFilter_Slope", Choice("per octave", "12 dB|24 dB")},
    Row{"_MultiModeFilter_Drive", {Control, Decibel, "saturation in front of the filter"}},
    Row{"_MultiModeFilter_StereoOffset", {Control, None, "octaves by which the right side is higher"}},
    Row{"_MultiModeFilter_EnvAmount", {Control, None, "octaves that the level moves the cutoff"}},
    Row{"_MultiModeFilter_EnvAttack", {Control, Millisecond, "how fast the level rises"}},
    Row{"_MultiModeFilter_EnvRelease", {Control, Millisecond, "how fast it falls"}},
    Row{"_MultiModeFilter_LFOAmount", {Control, None, "octaves of the sweep, either way"}},
    Row{"_MultiModeFilter_LFOFreq", {Control, Hertz, "how fast it sweeps"}},
    Row{"_MultiModeFilter_LFOShape", Choice("of the sweep", sweepShapes.substr(0, sweepShapes.rfind('|')))},

    Row{"LFO_Rate", {Control, Hertz, "how fast it swings; of note lengths, the position picks one"}},
    Row{"LFO_RateType", Choice("how the rate is meant", "Hz|beats|dotted|triplet")},
    Row{"LFO_Shape", Choice("of the swing", "sine|triangle|rising|falling|square|random|steps")},
    Row{"LFO_Phase", {Control, Degree, "where it starts"}},
    Row{"_StereoPan_Pan", {Control, None, "-1 left, 1 right"}},
    Row{"_StereoPan_PanDepth", {Control, None, "how far the place swings"}},
    Row{"_StereoPan_PanLaw", Choice("how a place is made", "equal power|balance|linear|fold")},
    Row{"_StereoPan_Width", {Control, None, "0 mono, 1 as it is, 2 wide"}},
    Row{"_StereoPan_MidSide", {Control, None, "-1 the middle alone, 1 the sides alone"}},
    Row{"_StereoPan_BassMono", {Control, Hertz, "what is below stays in the middle; off at the lower end"}},
    Row{"_StereoPan_HaasDelay",
        {Control, Millisecond, "by which the right side is late, or below 0 the left"}},
    Row{"_StereoPan_LevelDepth", {Control, None, "how far the level swings"}},
    Row{"_StereoPan_StereoPhase", {Control, Degree, "by which the level swings ahead on the right"}},
    Row{"_StereoPan_Source", Choice("what the sides are made from", "stereo|swapped|left|right|mono")},
    Row{"_StereoPan_Polarity", Choice("sides upside down", "none|left|right|both")},
    Row{"_StereoPan_Smoothing", {Control, Millisecond, "rounds off the swings"}},
    Row{"_StereoPan_Step#", {Control, None, "a step of the shape steps"}},

    // Not as in the modulator, where one knob moves them.
    Row{"_Compressor_OutputGain", {Control, Decibel, "level behind the compressor"}},
    Row{"_Compressor_Attack", {Control, Millisecond, "how fast it acts"}},
    Row{"_Compressor_Release", {Control, Millisecond, "how fast it lets go"}},
    Row{"_Compressor_Threshold", {Control, Decibel, "level from which it acts"}},
    Row{"_Compressor_Ratio", {Control, None, "how much of a higher level is taken away"}},

    Row{"_Width", {Control, None, "0 puts the wet sound in the middle"}},
};

constexpr ParameterTraits unknown{Control, None, ""};

} // namespace

ParameterTraits EffectTraitsOf(std::string_view name) {
    const ParameterTraits traits = FindTraits(effectRows, name, unknown);
    const bool isOfModulatorToo = name.find("_Compressor_") != std::string_view::npos ||
                                  name.find("_ParamEq_") != std::string_view::npos;
    return traits.description.empty() && isOfModulatorToo ? ModulatorTraitsOf(name) : traits;
}

} // namespace orphia::host
