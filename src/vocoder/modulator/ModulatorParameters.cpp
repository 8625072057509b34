// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/ModulatorParameters.h"

#include <string>
#include <string_view>

namespace Velmora::Processor {

namespace {

namespace Declare = dsp::Declare;

/// One for each sample, or slot: "Sample1_Path" and so on.
void AddTwelve(std::vector<dsp::ModuleParam>& records, std::string_view of,
               const dsp::ParameterDeclaration& declaration) {
    static_assert(ModulatorParameters::slotCount == ModulatorParameters::sampleCount);
    for (u32 n = 1; n <= ModulatorParameters::sampleCount; ++n) {
        records.push_back(declaration.Record());
        records.back().name = std::string(of) + std::to_string(n) + "_" + declaration.name;
    }
}

} // namespace

std::vector<dsp::ModuleParam> ModulatorParameters::Records() {
    std::vector<dsp::ModuleParam> records;
    AddTwelve(records, "Sample", Declare::Raw("Path"));
    AddTwelve(records, "Sample", Declare::Switch("LoopOn"));
    AddTwelve(records, "Sample", Declare::Switch("Loaded"));
    for (const dsp::ParameterDeclaration& declaration :
         {Declare::Raw("Sampler_PlayheadPosition"), Declare::Switch("Legato"),
          Declare::Choice("KeyboardSampleOctave", 9, 3.0F), Declare::Switch("SamplerPlayMode"),
          Declare::Choice("CycleDirection", 4), Declare::Switch("StopSampler"),
          Declare::Switch("IsPlayingSample"), Declare::Switch("CycleReset"),
          Declare::Choice("CycleLockedSample", sampleCount + 1, sampleCount),
          Declare::Switch("SlotGUITrigger"), Declare::Choice("CycleNextSlotFromGUI", slotCount),
          Declare::Choice("CycleNextPlayingSlot", slotCount)}) {
        records.push_back(declaration.Record());
    }
    AddTwelve(records, "Slot", Declare::Choice("Sample", sampleCount));
    for (const dsp::ParameterDeclaration& declaration :
         {Declare::Choice("SelectedSlot", slotCount), Declare::Choice("CurrentSlot", slotCount),
          Declare::Switch("SelectedSlotIsCurrentSlot"), Declare::Switch("ExternalInput"),
          Declare::Linear("ExternalInputGain", -36.0F, 24.0F),
          Declare::Switch("ExternalSignalHasBeenDetectedAtLeastOnce"), Declare::Switch("ParamEQOn"),
          Declare::Switch("CompressorOn"), Declare::Switch("CompressorAmount")}) {
        records.push_back(declaration.Record());
    }
    return records;
}

} // namespace Velmora::Processor
