// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ParameterNameWriter.h"
#include "processor/instrument/VocoderProcessor.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orphia::test {

/// The id of the first parameter whose name ends so.
inline Velmora::u32 FindByEnding(Velmora::Processor::VocoderProcessor& processor, std::string_view ending) {
    for (Velmora::u32 id = 0; id < Velmora::Processor::VocoderProcessor::parameterCount; ++id) {
        char name[256] = {};
        Velmora::dsp::ParameterNameWriter writer(name, sizeof(name));
        processor.GetParameterName(id, writer);
        if (std::string_view(name).ends_with(ending)) {
            return id;
        }
    }
    throw std::out_of_range("no parameter ends with " + std::string(ending));
}

/// Sets what a bare instrument lacks to be heard: speech on the external input over held saw notes.
inline void LetSpeak(Velmora::Processor::VocoderProcessor& processor) {
    const std::vector<std::pair<std::string, float>> settings = {
        {"Modulator_ExternalInput", 1.0F},
        {"Modulator_ExternalInputGain", 0.0F},
        {"OutputSelection", 2.0F},
        {"MasterVolume", 0.0F},
        {"VST3_PitchBend", 0.0F},
        {"PolyphonyMode", 12.0F},
        {"_Osc1Waveform", 1.0F},
        {"_Osc1Volume", 0.0F},
        {"Oscillators_ADSR_Sustain", 1.0F},
        {"BodeVocoder_Wet", 1.0F},
        {"Preamp_ProgramLevel", -10.0F},
        {"CarrierPreamp_CarrierLevel", -10.0F},
        {"AnalyzerRectifiers_Attack", 0.003F},
        {"AnalyzerRectifiers_Release", 0.03F},
        {"HissBuzzTrimmer", 0.5F},
        {"NoiseCarrierBalance_NoiseCarrierBalance", 0.75F},
        {"UnvoicedMode", 1.0F},
        {"NoiseGateAttack", 40.5F},
        {"NoiseGateRelease", 1.95F},
        {"BodeVocoder_HFAttack", 37.7F},
        {"BodeVocoder_HFRelease", 3.43F}};
    for (const auto& [ending, value] : settings) {
        processor.SetParameterValue(FindByEnding(processor, ending), value);
    }
    for (int band = 1; band <= 16; ++band) {
        processor.SetParameterValue(FindByEnding(processor, "PatchBay_GainBand" + std::to_string(band)),
                                    1.0F);
    }
}

} // namespace orphia::test
