// SPDX-License-Identifier: GPL-3.0-or-later
// A whole host: a voice speaks through a held chord.  minimal_host LIBRARY VOICE OUT.wav
#include "processor/boundary/IProcessorFactory.h"

#include <dlfcn.h>
#include <sndfile.hh>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

using namespace Velmora::Processor;

// A raw engine is silent: every control is at its lowest.
constexpr std::pair<const char*, float> sound[] = {
    {"Modulator_ExternalInput", 1.0F}, {"OutputSelection", 1.0F},  {"PolyphonyMode", 1.0F},
    {"ExternalInputGain", 0.6F},       {"Osc1Waveform", 0.33F},    {"Osc1Volume", 1.0F},
    {"NoiseCarrierBalance_", 0.75F},   {"Osc1Coarse", 0.5F},       {"MasterTune", 0.5F},
    {"Rectifiers_Attack", 0.17F},      {"ProgramLevel", 0.58F},    {"CarrierLevel", 0.58F},
    {"Rectifiers_Release", 0.08F},     {"VST3_PitchBend", 0.5F},   {"HissBuzzTrimmer", 0.5F},
    {"FilterBank_Shift", 0.5F},        {"FilterBank_Width", 0.5F}, {"GainBand", 1.0F},
    {"BodeVocoder_Wet", 1.0F},         {"UnvoicedMode", 1.0F},     {"MasterVolume", 0.35F}};

/// Every parameter whose name contains this text goes to a position from 0 to 1.
void Set(IProcessor& processor, std::string_view part, float position) {
    ParameterInfoRecord info{};
    for (Velmora::u32 id = 0; processor.GetParameterInfo(id, &info); info = {}, ++id) {
        if (std::string_view(info.name).find(part) != std::string_view::npos) {
            processor.SetParameter(id, position);
        }
    }
}

int main(int argumentCount, char** arguments) {
    void* library = argumentCount == 4 ? dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    void* symbol = library != nullptr ? dlsym(library, "GetProcessorFactory") : nullptr;
    SndfileHandle voice(argumentCount == 4 ? arguments[2] : "");
    if (symbol == nullptr || voice.channels() != 1) {
        std::puts("usage: minimal_host LIBRARY VOICE OUT.wav, with a mono voice");
        return 2;
    }
    auto* factory = reinterpret_cast<IProcessorFactory* (*)()>(symbol)();
    auto* processor = static_cast<IProcessor_V8*>(factory->CreateProcessor());
    processor->Connect(nullptr); // no logger
    const ProcessorSetup setup{static_cast<float>(voice.samplerate())};
    processor->Initialize(&setup);
    Set(*processor, "PresetLoading", 1.0F); // what is set until it goes back is there at once
    for (const auto& [name, position] : sound) {
        Set(*processor, name, position);
    }
    Set(*processor, "PresetLoading", 0.0F);
    for (const Velmora::u8 note : std::array<Velmora::u8, 4>{48, 55, 60, 64}) {
        processor->PushEvent(std::array<Velmora::u8, 3>{0x90, note, 100}.data());
    }

    alignas(16) float buffers[3][512]; // the largest block, at 384 kHz, has 384 frames
    const float* const inputs[] = {buffers[0]};
    float* const outputs[] = {buffers[1], buffers[2]};
    HostProcessData block{};
    block.outputs = outputs;
    block.numOutputs = 2;
    block.auxInputs = inputs;
    block.numAuxInputs = 1;
    block.numFrames = processor->GetBlockSize(setup.sampleRate);
    SndfileHandle out(arguments[3], SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, voice.samplerate());
    while (voice.read(buffers[0], block.numFrames) == block.numFrames) {
        processor->Process(&block);
        processor->ClearEvents();
        for (Velmora::u32 n = 0; n < block.numFrames; ++n) {
            out.writef(std::array{buffers[1][n], buffers[2][n]}.data(), 1);
        }
    }
    delete processor; // in front of its library
    delete factory;
    dlclose(library);
}
