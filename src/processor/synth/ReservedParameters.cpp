// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/synth/ReservedParameters.h"

#include <iterator>
#include <string>
#include <utility>

namespace Velmora::Processor {

namespace {

using dsp::ModuleParam;

constexpr i32 linearId = 1;
constexpr i32 exponentialId = 4;

ModuleParam Raw(std::string name) { return ModuleParam(std::move(name)); }
ModuleParam Switch(std::string name) { return ModuleParam::Stepped(std::move(name), 2, 0.0F, 1.0F); }
ModuleParam Bend(std::string name) {
    return ModuleParam::Mapped(std::move(name), linearId, -1.0F, 1.0F, 1.0F);
}

template <class Make>
void AddChannels(std::vector<ModuleParam>& records, const std::string& name, Make make) {
    for (u32 channel = 0; channel < midiChannelCount; ++channel) {
        records.push_back(make(name + std::to_string(channel)));
    }
}

} // namespace

std::vector<ModuleParam> AfterReservedParameters(std::vector<ModuleParam>&& instrument) {
    std::vector<ModuleParam> records;
    records.reserve(ReservedCount + instrument.size());
    records.push_back(Bend("VST3_PitchBend"));
    records.push_back(Raw("VST3_CtrlModWheel"));
    records.push_back(Raw("VST3_CtrlSustainOnOff"));
    records.push_back(Raw("VST3_CtrlAllNotesOff"));
    records.push_back(Raw("VST3_AfterTouch"));
    records.push_back(Switch("Panic"));
    records.push_back(Switch("PresetLoading"));
    records.push_back(Raw("GUI Visible"));
    records.push_back(ModuleParam::Mapped("Synth_Master_Volume", exponentialId, -60.0F, 0.0F, -3.0F));
    records.push_back(Switch("MPE_Enabled"));
    records.push_back(ModuleParam::Mapped("MPE_PitchRange", linearId, 2.0F, 96.0F, 1.0F));
    records.push_back(ModuleParam::Stepped("MPE_SlideMode", 3, 0.0F, 1.0F));
    records.push_back(Raw("MPE_GlobalBrightness"));
    records.push_back(Switch("MTS_HasMaster"));
    records.push_back(Switch("MTS_Retuning_Mode"));
    AddChannels(records, "MPE_PitchBend_", Bend);
    AddChannels(records, "MPE_Aftertouch_", Raw);
    AddChannels(records, "MPE_Brightness_", Raw);
    records[SynthMasterVolume].SetValue(0.0F);
    std::move(instrument.begin(), instrument.end(), std::back_inserter(records));
    return records;
}

} // namespace Velmora::Processor
