// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <array>
#include <string_view>

/// Where each destination of the instrument's modulation matrix leads: the one place that numbers, names and
/// describes them. Processor, carrier, vocoder and the texts of hosts take it from here.
namespace Velmora::Processor {

/// Sources of the matrix.
enum ModulationSource : u32 {
    FollowerSource,
    LfoSource,
    EnvelopeSource,
    VelocitySource,
    KeySource,
    AftertouchSource,
    ModWheelSource,
    BrightnessSource,
    ModulationSourceCount
};

/// What moves, in words for users.
inline constexpr std::array<std::string_view, ModulationSourceCount> sourceTexts = {
    "the level of the voice", "the LFO",   "the envelope of a note", "velocity", "the key", "pressure",
    "the modulation wheel",   "brightness"};

/// Destinations of the matrix. The number is part of each route's id and name.
enum ModulationDestination : u32 {
    LfoRateDestination,
    LfoAmountDestination,
    Slot1FirstDestination,
    Slot2FirstDestination,
    Slot3FirstDestination,
    Slot1SecondDestination,
    Slot2SecondDestination,
    Slot3SecondDestination,
    VoiceAttackDestination,
    VoiceReleaseDestination,
    Osc1CoarseDestination,
    Osc2CoarseDestination,
    Osc2FineDestination,
    Osc1ShapeDestination,
    Osc2ShapeDestination,
    FMAmountDestination,
    Osc1VolumeDestination,
    Osc2VolumeDestination,
    AttackDestination,
    ReleaseDestination,
    WetDestination,
    BalanceDestination,
    ShiftDestination,
    WidthDestination,
    CarrierLevelDestination,
    ProgramLevelDestination,
    MasterVolumeDestination,
    SampleHoldDestination,
    EnsembleDestination,
    FollowerAmountDestination,
    ModulationDestinationCount
};

/// The inputs of the modules that the matrix moves, each named as the parameter that it moves.
namespace Pins {

/// Of dsp::LFO.
enum Lfo : u32 { LfoRate, LfoAmount };

/// Of Oscillators.
enum Voice : u32 {
    AttackMod,
    ReleaseMod,
    Osc1CoarseMod,
    Osc2CoarseMod,
    Osc2FineMod,
    Osc1VolumeMod,
    Osc2VolumeMod,
    Osc1ShapeMod,
    Osc2ShapeMod,
    FMAmountMod,
    VoiceInputCount
};

/// Of FXContainer: the sound, then the first and the second signal of each slot.
enum Effects : u32 {
    EffectsLeft,
    EffectsRight,
    Slot1First,
    Slot2First,
    Slot3First,
    Slot1Second,
    Slot2Second,
    Slot3Second,
    EffectsInputCount
};

/// Of BodeVocoder. A modulation moves the parameter of its name by the first sample of each block.
enum Vocoder : u32 {
    CarrierLeft,
    CarrierRight,
    AttackModulation,
    ReleaseModulation,
    WetModulation,
    BalanceModulation,
    ShiftModulation,
    WidthModulation,
    CarrierLevelModulation,
    ProgramLevelModulation,
    SampleHoldModulation,
    VocoderInputCount
};

/// Of a module that takes one value.
enum Single : u32 { Only };

} // namespace Pins

/// What a destination leads to. LFOs and voices have channels of their own for each voice, the others one.
enum class WiredModule : u8 { Lfo, Voice, Ensemble, Effects, Vocoder, Volume, Follower };

/// One destination: the module that it moves, at which input, and what that does, in words for users.
struct Wire {
    ModulationDestination destination;
    WiredModule module;
    u32 pin;
    std::string_view text;

    constexpr bool IsPerVoice() const { return module == WiredModule::Lfo || module == WiredModule::Voice; }
};

inline constexpr std::array wiring = {
    Wire{LfoRateDestination, WiredModule::Lfo, Pins::LfoRate, "the rate of the LFO"},
    Wire{LfoAmountDestination, WiredModule::Lfo, Pins::LfoAmount, "the height of the LFO"},
    Wire{Slot1FirstDestination, WiredModule::Effects, Pins::Slot1First, "the first control of effect 1"},
    Wire{Slot2FirstDestination, WiredModule::Effects, Pins::Slot2First, "the first control of effect 2"},
    Wire{Slot3FirstDestination, WiredModule::Effects, Pins::Slot3First, "the first control of effect 3"},
    Wire{Slot1SecondDestination, WiredModule::Effects, Pins::Slot1Second, "the second control of effect 1"},
    Wire{Slot2SecondDestination, WiredModule::Effects, Pins::Slot2Second, "the second control of effect 2"},
    Wire{Slot3SecondDestination, WiredModule::Effects, Pins::Slot3Second, "the second control of effect 3"},
    Wire{VoiceAttackDestination, WiredModule::Voice, Pins::AttackMod, "the attack of a note"},
    Wire{VoiceReleaseDestination, WiredModule::Voice, Pins::ReleaseMod, "the release of a note"},
    Wire{Osc1CoarseDestination, WiredModule::Voice, Pins::Osc1CoarseMod, "the pitch of oscillator 1"},
    Wire{Osc2CoarseDestination, WiredModule::Voice, Pins::Osc2CoarseMod, "the pitch of oscillator 2"},
    Wire{Osc2FineDestination, WiredModule::Voice, Pins::Osc2FineMod, "the fine pitch of oscillator 2"},
    Wire{Osc1ShapeDestination, WiredModule::Voice, Pins::Osc1ShapeMod, "the shape of oscillator 1"},
    Wire{Osc2ShapeDestination, WiredModule::Voice, Pins::Osc2ShapeMod, "the shape of oscillator 2"},
    Wire{FMAmountDestination, WiredModule::Voice, Pins::FMAmountMod, "the amount of FM"},
    Wire{Osc1VolumeDestination, WiredModule::Voice, Pins::Osc1VolumeMod, "the level of oscillator 1"},
    Wire{Osc2VolumeDestination, WiredModule::Voice, Pins::Osc2VolumeMod, "the level of oscillator 2"},
    Wire{AttackDestination, WiredModule::Vocoder, Pins::AttackModulation, "the attack of the bands"},
    Wire{ReleaseDestination, WiredModule::Vocoder, Pins::ReleaseModulation, "the release of the bands"},
    Wire{WetDestination, WiredModule::Vocoder, Pins::WetModulation, "the share of the vocoder"},
    Wire{BalanceDestination, WiredModule::Vocoder, Pins::BalanceModulation, "noise against the carrier"},
    Wire{ShiftDestination, WiredModule::Vocoder, Pins::ShiftModulation, "the place of the bands"},
    Wire{WidthDestination, WiredModule::Vocoder, Pins::WidthModulation, "the width of the bands"},
    Wire{CarrierLevelDestination, WiredModule::Vocoder, Pins::CarrierLevelModulation,
         "the level of the carrier"},
    Wire{ProgramLevelDestination, WiredModule::Vocoder, Pins::ProgramLevelModulation,
         "the level of the voice"},
    Wire{MasterVolumeDestination, WiredModule::Volume, Pins::Only, "the level of the whole"},
    Wire{SampleHoldDestination, WiredModule::Vocoder, Pins::SampleHoldModulation, "the holding of the bands"},
    Wire{EnsembleDestination, WiredModule::Ensemble, Pins::Only, "the amount of the ensemble"},
    Wire{FollowerAmountDestination, WiredModule::Follower, Pins::Only, "the level that is followed"},
};

/// The place in the table is the number of the destination, and no two lead to one pin.
static_assert([] {
    for (u32 i = 0; i < wiring.size(); ++i) {
        if (wiring[i].destination != i || wiring[i].text.empty()) {
            return false;
        }
        for (u32 other = 0; other < i; ++other) {
            if (wiring[other].module == wiring[i].module && wiring[other].pin == wiring[i].pin) {
                return false;
            }
        }
    }
    return wiring.size() == ModulationDestinationCount;
}());

/// Puts the channel of each destination that leads to a module on its pin of `inputs`.
template <class Inputs, class ChannelOf>
void ConnectWires(WiredModule module, Inputs& inputs, ChannelOf channelOf) {
    for (const Wire& wire : wiring) {
        if (wire.module == module) {
            inputs[wire.pin] = channelOf(wire.destination);
        }
    }
}

} // namespace Velmora::Processor
