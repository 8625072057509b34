// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/synth/ReservedParameters.h"

#include "dsp/framework/ParameterDeclaration.h"

#include <iterator>
#include <string>
#include <utility>

namespace Velmora::Processor {

namespace {

using namespace dsp::Declare;

dsp::ParameterDeclaration Bend(std::string name) { return Linear(std::move(name), -1.0F, 1.0F); }
dsp::ParameterDeclaration Plain(std::string name) { return Raw(std::move(name)); }

template <class Make>
void AddChannels(std::vector<dsp::ModuleParam>& records, const std::string& name, Make make) {
    for (u32 channel = 0; channel < midiChannelCount; ++channel) {
        records.push_back(make(name + std::to_string(channel)).Record());
    }
}

} // namespace

std::vector<dsp::ModuleParam> AfterReservedParameters(std::vector<dsp::ModuleParam>&& instrument) {
    std::vector<dsp::ModuleParam> records = dsp::RecordsOf(
        {Bend("VST3_PitchBend"), Raw("VST3_CtrlModWheel"), Raw("VST3_CtrlSustainOnOff"),
         Raw("VST3_CtrlAllNotesOff"), Raw("VST3_AfterTouch"), Switch("Panic"), Switch("PresetLoading"),
         Raw("GUI Visible"), Exponential("Synth_Master_Volume", -60.0F, 0.0F, -3.0F, 0.0F),
         Switch("MPE_Enabled"), Linear("MPE_PitchRange", 2.0F, 96.0F), Choice("MPE_SlideMode", 3),
         Raw("MPE_GlobalBrightness"), Switch("MTS_HasMaster"), Switch("MTS_Retuning_Mode")});
    AddChannels(records, "MPE_PitchBend_", Bend);
    AddChannels(records, "MPE_Aftertouch_", Plain);
    AddChannels(records, "MPE_Brightness_", Plain);
    std::move(instrument.begin(), instrument.end(), std::back_inserter(records));
    return records;
}

} // namespace Velmora::Processor
