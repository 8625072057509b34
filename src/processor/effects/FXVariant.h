// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/bitcrusher/BitCrusher.h"
#include "dsp/effects/chorus/Chorus.h"
#include "dsp/effects/compressor/Compressor.h"
#include "dsp/effects/delay/Delay.h"
#include "dsp/effects/distortion/TubeScreamer808.h"
#include "dsp/effects/equaliser/ParamEq.h"
#include "dsp/effects/filter/MultiModeFilterPresetChromataFX.h"
#include "dsp/effects/flanger/Flanger.h"
#include "dsp/effects/pan/StereoPan.h"
#include "dsp/effects/phaser/Phaser.h"
#include "dsp/effects/reverb/Reverb.h"
#include "dsp/effects/slot/BypassedModule.h"
#include "dsp/effects/slot/IOSubset.h"
#include "dsp/effects/slot/ModuleVariant.h"
#include "dsp/effects/slot/WithDryWet.h"

#include <array>
#include <string>
#include <utility>

namespace Velmora::Processor {

/// One effect slot: the twelve types, with the ranges and start values that they have as effects. Starts at
/// type 0, which passes the input. A bypassed slot passes its input; whether bypass and change of type are
/// faded is for the host to say, and off at the start.
///
/// Inputs as of ModuleVariant. The two modulation signals of the slot go to their places for all types, since
/// only the selected one reads its part of the list.
class FXVariant final
    : public dsp::ModuleVariant<2, 2, dsp::BypassedModule, dsp::Reverb, dsp::Delay, dsp::Chorus, dsp::Flanger,
                                dsp::Phaser, dsp::TubeScreamer808, dsp::Compressor,
                                dsp::IOSubset<dsp::BitCrusher, 10, 2>, dsp::MultiModeFilterPresetChromataFX,
                                dsp::ParamEq<5>, dsp::WithDryWet<dsp::StereoPan, 0, 2, 0>> {
public:
    /// The values of "ModuleType", and the children in template order.
    enum Type : u32 {
        BypassedType,
        ReverbType,
        DelayType,
        ChorusType,
        FlangerType,
        PhaserType,
        TubeScreamerType,
        CompressorType,
        BitCrusherType,
        FilterType,
        ParamEqType,
        StereoPanType
    };
    /// What stands in front of the parameters of each type.
    static constexpr std::array<const char*, typeCount> typeNames = {
        "",      "Dattorro",   "Delay",      "Chorus",          "Flanger", "Phaser",
        "TS808", "Compressor", "BitCrusher", "MultiModeFilter", "ParamEq", "StereoPan"};
    /// Behind those of ModuleVariant.
    enum Further : u32 {
        /// Also sets the "DryWetMode" of delay and flanger: on, the wet sound alone.
        DryWet = AdditionalCount,
        /// Also sets the rate types of both oscillators of the panner.
        PanRateType,
        FurtherEnd
    };
    static constexpr u32 parameterCount = childParameterCount + FurtherEnd;
    /// Of the slot, each with its places in the list of inputs, by type; 0 for none.
    static constexpr u32 signalCount = 2;
    static constexpr std::array<std::array<u32, typeCount>, signalCount> signalInputs = {SignalInputs(0),
                                                                                         SignalInputs(1)};

    explicit FXVariant(std::string moduleName);

    /// The next block would come out as it goes in.
    bool PassesInput() const { return RunsNothingBut(BypassedType); }

    /// The id within a slot of a parameter of a type.
    static constexpr u32 IdOf(Type type, u32 id) { return firstIds[type] + id; }

    template <Type type>
    auto& Unit() {
        return Child<type>();
    }

private:
    template <std::size_t... types>
    FXVariant(std::string moduleName, std::index_sequence<types...> /*all*/);

    void LinkParameters();
    void DeclareCompressor();
    void DeclareChorus();
    void DeclareEqualiser();
    dsp::ModuleParam& Record(Type type, u32 id) { return *FindParameter(IdOf(type, id)); }
    void Start(Type type, u32 id, float value) { SetParameterValue(IdOf(type, id), value); }
};

} // namespace Velmora::Processor
