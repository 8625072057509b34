// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/ParameterSet.h"
#include "dsp/math/Within.h"
#include "support/platform/Types.h"

#include <vector>

namespace Velmora::Processor {

/// The modulator's own parameters, as its parts read and write them. A *sample* is one of twelve loaded
/// files, a *slot* one of twelve places that each name a sample: keys and the cycle choose slots.
class ModulatorParameters {
public:
    static constexpr u32 sampleCount = 12;
    static constexpr u32 slotCount = 12;

    /// Those with a count hold one per sample, or per slot.
    enum Parameter : u32 {
        SamplePath,
        SampleLoopOn = SamplePath + sampleCount,
        SampleLoaded = SampleLoopOn + sampleCount,
        SamplerPlayheadPosition = SampleLoaded + sampleCount,
        Legato,
        KeyboardSampleOctave,
        SamplerPlayMode,
        CycleDirection,
        StopSampler,
        IsPlayingSample,
        CycleReset,
        /// The sample that the cycle stays at; sampleCount is none.
        CycleLockedSample,
        SlotGUITrigger,
        CycleNextSlotFromGUI,
        CycleNextPlayingSlot,
        SlotSample,
        SelectedSlot = SlotSample + slotCount,
        CurrentSlot,
        SelectedSlotIsCurrentSlot,
        ExternalInput,
        ExternalInputGain,
        ExternalSignalHasBeenDetectedAtLeastOnce,
        ParamEQOn,
        CompressorOn,
        CompressorAmount,
        ParameterCount
    };

    static std::vector<dsp::ModuleParam> Records();

    explicit ModulatorParameters(dsp::ParameterSet& own) : set(own) {}

    bool Changed(u32 id) const { return set.parameterChanged[id] != 0; }
    float Value(u32 id) { return set.parameters[id].GetValue(); }
    bool IsOn(u32 id) { return Value(id) > 0.5F; }
    /// The position, 0 to 1 whatever was written.
    float Position(u32 id) { return dsp::ClampToUnit(set.parameters[id].GetNormalized()); }
    /// A stepped parameter as an index below count, whatever was written.
    u32 Index(u32 id, u32 count) const { return dsp::ToIndex(set.parameters[id].PeekValue(), count); }
    void Set(u32 id, float value) { set.SetValue(id, value); }
    void Set(u32 id, bool on) { Set(id, on ? 1.0F : 0.0F); }

private:
    dsp::ParameterSet& set;
};

/// Declares a parameter of a child anew; the name stays. Without a start value it begins at the low end, a
/// sample's gain at -36 dB, until the host restores it.
template <class M>
void Redeclare(M& child, u32 id, const dsp::ParameterDeclaration& as, bool runsBackwards = false) {
    child.FindParameter(id)->Redeclare(as.curve, as.low, as.high, as.shape, dsp::ModuleParam::defaultShape2,
                                       runsBackwards);
    if (as.start != as.low) {
        child.SetParameterValue(id, as.start);
    }
}

} // namespace Velmora::Processor
