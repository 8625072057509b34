// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "host/presets/NeutralStart.h"
#include "processor/instrument/VocoderProcessor.h"
#include "rigs/MeasurePitch.h"
#include "rigs/ModuleRig.h"

#include <memory>

namespace orphia::test {

using namespace Velmora::Processor;
using Velmora::i32;
using Velmora::u8;

/// An instrument of which the carrier is heard: one sine-like triangle oscillator, 32 voices, short times, no
/// bend. With Speak, all of it: a voice on the external input, and what comes out at the end.
struct PlayedRig {
    float rate;
    u32 blockSize;
    std::unique_ptr<VocoderProcessor> played;
    Velmora::dsp::EventQueue events;
    /// The carrier's left side of all blocks, and of the last one.
    std::vector<float> left;
    std::vector<float> block;
    std::vector<float> out[2];
    /// What the external input hears in each block; with a level, of two tones.
    std::vector<float> external;
    float voiceLevel = 0.0F;
    u32 voiceChannels = 1;
    u32 frame = 0;

    explicit PlayedRig(float sampleRate = 44100.0F, const std::string& tuningLibrary = {})
        : rate(sampleRate), blockSize(static_cast<u32>(std::lround(sampleRate * 0.0002494331F)) * 4),
          played(std::make_unique<VocoderProcessor>(tuningLibrary)), block(blockSize), external(blockSize) {
        out[0] = out[1] = block;
        SetVoice(Oscillators::Osc1Waveform, VoiceOscillator::Triangle);
        SetVoice(Oscillators::Osc1Volume, 0.0F);
        SetVoice(Oscillators::Osc1Coarse, 0.0F);
        SetVoice(Oscillators::Osc2Coarse, 0.0F);
        SetVoice(Oscillators::Osc2KeyTrack, 1.0F);
        // Without it some keys would choose samples.
        SetModulator(VocoderModulator::ExternalInput, 1.0F);
        Set(PitchBend, 0.0F);
        for (u32 channel = 0; channel < midiChannelCount; ++channel) {
            Set(MpePitchBend + channel, 0.0F);
        }
        SetTimes();
        played->SeedNoise(1);
        played->Initialize(rate, blockSize);
    }
    void SetTimes() {
        Set(VocoderProcessor::Attack, 0.002F);
        Set(VocoderProcessor::Release, 0.01F);
        Set(VocoderProcessor::PolyphonyMode, 12.0F);
    }
    /// The sound of a new instrument, and a voice on both channels.
    void Speak() {
        const host::NeutralStart& neutral = host::NeutralStart::Get();
        for (u32 id = 0; id < VocoderProcessor::parameterCount; ++id) {
            if (neutral.IsPartOfPresets(id)) {
                played->SetParameterNormalized(id, neutral.Position(id));
            }
        }
        SetTimes();
        Set(VocoderProcessor::Volume, 0.0F);
        played->Reset(true); // everything is there at once
        voiceLevel = 0.5F;
        voiceChannels = 2;
    }

    void Set(u32 index, float value) {
        played->SetParameterValue(VocoderProcessor::ParameterId(index), value);
    }
    void SetPosition(u32 index, float position) {
        played->SetParameterNormalized(VocoderProcessor::ParameterId(index), position);
    }
    void SetModulator(VocoderModulator::Parameter index, float value) {
        played->SetParameterValue(VocoderModulator::ParameterId(index), value);
    }
    void SetCarrier(u32 index, float value) {
        played->SetParameterValue(
            VocoderProcessor::FirstParameter<3>() + Carrier::childParameterCount + index, value);
    }
    void SetVoice(u32 index, float value) {
        played->SetParameterValue(
            VocoderProcessor::FirstParameter<3>() + Oscillators::childParameterCount + index, value);
    }
    /// An amount of the matrix, with all sources on.
    void Route(u32 source, u32 destination, float amount) {
        constexpr u32 first = VocoderProcessor::FirstParameter<1>();
        for (const u32 on : {ModulationsManager::EnvFollowerEnable, ModulationsManager::LFOEnable,
                             ModulationsManager::ControlsEnable}) {
            played->SetParameterValue(first + ModulationsManager::childParameterCount + on, 1.0F);
        }
        RunBlock();
        played->SetParameterValue(first + ModulationMatrix::Cell(destination, source), amount);
    }
    void Send(const std::array<u8, 3>& midi) { events.AppendMidi(midi[0], midi[1], midi[2]); }
    void NoteOn(u8 note, u8 velocity = 100) { Send({0x90, note, velocity}); }
    void NoteOff(u8 note) { Send({0x80, note, 0}); }

    /// Runs blocks and keeps their sound. The peak of the left output.
    float Run(u32 blocks = 1) {
        float loudest = 0.0F;
        for (u32 i = 0; i < blocks; ++i) {
            RunBlock();
            left.insert(left.end(), block.begin(), block.end());
            loudest = std::max(loudest, Peak(out[0]));
        }
        return loudest;
    }
    void RunSeconds(double seconds) { Run(static_cast<u32>(std::ceil(seconds * rate / blockSize))); }
    /// Runs one block, and keeps nothing.
    bool RunBlock() {
        for (u32 n = 0; n < blockSize && voiceLevel > 0.0F; ++n, ++frame) {
            const float phase = 0.02F * static_cast<float>(frame);
            external[n] = voiceLevel * (std::sin(phase) + 0.5F * std::sin(7.0F * phase));
        }
        float* outputs[2] = {out[0].data(), out[1].data()};
        const float* voices[2] = {external.data(), external.data()};
        Velmora::dsp::ProcessContext context;
        context.outputs = outputs;
        context.numOutputs = 2;
        context.numFrames = blockSize;
        context.inputEvents = &events;
        context.tempo = 120.0F;
        context.auxInputs = voices;
        context.numAuxInputs = voiceChannels;
        const bool result = Velmora::dsp::RunChild(*played, context);
        block.assign(played->CarrierBlock(0), played->CarrierBlock(0) + blockSize);
        events.Clear();
        return result;
    }
    float FrequencyOf(u32 voice) {
        return played->CarrierSynth().Voice(voice).FindParameter(Oscillators::frequency)->GetValue();
    }
    std::size_t ActiveCount() const { return played->CarrierSynth().ActiveVoices().size(); }
    u32 HeldCount() const { return played->HeldNoteCount(); }
};

} // namespace orphia::test
