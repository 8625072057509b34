// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "processor/instrument/VocoderProcessor.h"
#include "rigs/MeasurePitch.h"
#include "rigs/ModuleRig.h"

#include <memory>

namespace orphia::test {

using Velmora::i32;
using Velmora::u8;
using Velmora::Processor::Carrier;
using Velmora::Processor::ModulationsManager;
using Velmora::Processor::Oscillators;
using Velmora::Processor::VocoderProcessor;
using Velmora::Processor::VoiceOscillator;

/// An instrument of which the carrier is heard: one sine-like triangle oscillator, 32 voices, short times, no
/// bend.
struct PlayedRig {
    float rate;
    u32 blockSize;
    std::unique_ptr<VocoderProcessor> played;
    Velmora::dsp::EventQueue events;
    std::vector<float> left;
    std::vector<float> right;
    std::vector<float> block[2];
    std::vector<float> pitch;
    /// What the external input hears in each block.
    std::vector<float> external;
    bool pitchIsGiven = false;
    bool hasPitchInput = false;
    float tempo = 120.0F;
    float songPosition = 0.0F;

    explicit PlayedRig(float sampleRate = 44100.0F, const std::string& tuningLibrary = {})
        : rate(sampleRate), blockSize(static_cast<u32>(std::lround(sampleRate * 0.0002494331F)) * 4),
          played(std::make_unique<VocoderProcessor>(tuningLibrary)), pitch(blockSize, 0.0F),
          external(blockSize, 0.0F) {
        for (auto& channel : block) {
            channel.assign(blockSize, 0.0F);
        }
        SetVoice(Oscillators::Osc1Waveform, VoiceOscillator::Triangle);
        SetVoice(Oscillators::Osc1Volume, 0.0F);
        SetVoice(Oscillators::Osc1Coarse, 0.0F);
        SetVoice(Oscillators::Osc2Coarse, 0.0F);
        SetVoice(Oscillators::Osc2KeyTrack, 1.0F);
        // Without it some keys would choose samples.
        SetModulator(Velmora::Processor::VocoderModulator::ExternalInput, 1.0F);
        Set(Velmora::Processor::PitchBend, 0.0F);
        for (u32 channel = 0; channel < Velmora::Processor::midiChannelCount; ++channel) {
            Set(Velmora::Processor::MpePitchBend + channel, 0.0F);
        }
        Set(VocoderProcessor::Attack, 0.002F);
        Set(VocoderProcessor::Release, 0.01F);
        Set(VocoderProcessor::PolyphonyMode, 12.0F);
        played->SeedNoise(1);
        played->Initialize(rate, blockSize);
    }

    void Set(u32 index, float value) {
        played->SetParameterValue(VocoderProcessor::ParameterId(index), value);
    }
    void SetModulator(Velmora::Processor::VocoderModulator::Parameter index, float value) {
        played->SetParameterValue(Velmora::Processor::VocoderModulator::ParameterId(index), value);
    }
    void SetCarrier(u32 index, float value) {
        played->SetParameterValue(
            VocoderProcessor::FirstParameter<3>() + Carrier::childParameterCount + index, value);
    }
    void SetVoice(u32 index, float value) {
        played->SetParameterValue(
            VocoderProcessor::FirstParameter<3>() + Oscillators::childParameterCount + index, value);
    }
    void SetModulations(u32 index, float value) {
        played->SetParameterValue(
            VocoderProcessor::FirstParameter<1>() + ModulationsManager::childParameterCount + index, value);
    }
    /// An amount of the matrix, with all sources on.
    void Route(u32 source, u32 destination, float amount) {
        SetModulations(ModulationsManager::EnvFollowerEnable, 1.0F);
        SetModulations(ModulationsManager::LFOEnable, 1.0F);
        SetModulations(ModulationsManager::ControlsEnable, 1.0F);
        Run();
        played->SetParameterValue(VocoderProcessor::FirstParameter<1>() +
                                      Velmora::Processor::ModulationMatrix::Cell(destination, source),
                                  amount);
    }
    void SetChord(u32 id, bool on) {
        played->SetParameterNormalized(VocoderProcessor::FirstParameter<2>() + id, on ? 1.0F : 0.0F);
    }

    void NoteOn(u8 note, u8 velocity = 100, u8 channel = 0) {
        events.AppendMidi(static_cast<u8>(0x90 | channel), note, velocity);
    }
    void NoteOff(u8 note, u8 channel = 0) { events.AppendMidi(static_cast<u8>(0x80 | channel), note, 0); }

    /// Runs blocks and keeps their sound.
    void Run(u32 blocks = 1) {
        for (u32 i = 0; i < blocks; ++i) {
            RunBlock();
            left.insert(left.end(), block[0].begin(), block[0].end());
            right.insert(right.end(), block[1].begin(), block[1].end());
        }
    }
    /// Runs one block, and keeps nothing.
    void RunBlock() {
        float* outputs[2] = {block[0].data(), block[1].data()};
        Velmora::dsp::ProcessContext context;
        context.outputs = outputs;
        context.numOutputs = 2;
        context.numFrames = blockSize;
        context.inputEvents = &events;
        context.tempo = tempo;
        context.songPosition = songPosition;
        const float* voices[1] = {external.data()};
        context.auxInputs = voices;
        context.numAuxInputs = 1;
        if (pitchIsGiven) {
            RunTracked(context);
        } else {
            Velmora::dsp::RunChild(*played, context);
            for (u32 side = 0; side < 2; ++side) {
                block[side].assign(played->CarrierBlock(side), played->CarrierBlock(side) + blockSize);
            }
        }
        events.Clear();
    }
    /// Modulations and carrier alone, with the pitch that the test gives instead of the modulator's.
    void RunTracked(Velmora::dsp::ProcessContext& context) {
        const float* inputs[1] = {hasPitchInput ? pitch.data() : nullptr};
        played->UpdateParameters(context);
        Velmora::dsp::ProcessContext modulations = context.ForChild(nullptr, 0, nullptr, 0);
        Velmora::dsp::RunChild(played->Modulations(), modulations);
        Velmora::dsp::ProcessContext carrier = context.ForChild(inputs, 1, context.outputs, 2);
        Velmora::dsp::RunChild(played->Sound(), carrier);
        Velmora::dsp::FinishChild(*played);
    }
    void RunSeconds(double seconds) { Run(static_cast<u32>(std::ceil(seconds * rate / blockSize))); }
    void Forget() {
        left.clear();
        right.clear();
    }
    void Track(float hz) {
        pitchIsGiven = hasPitchInput = true;
        pitch.assign(blockSize, hz);
    }

    Carrier& Sound() { return played->Sound(); }
    float FrequencyOf(u32 voice) {
        return Sound().Voice(voice).FindParameter(Oscillators::frequency)->GetValue();
    }
    std::size_t ActiveCount() const { return played->Sound().ActiveVoices().size(); }
};

} // namespace orphia::test
