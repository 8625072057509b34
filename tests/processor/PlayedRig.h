// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/EventQueue.h"
#include "dsp/RunChild.h"
#include "processor/PlayedCarrier.h"
#include "support/MeasurePitch.h"

#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace orphia::test {

using Velmora::i32;
using Velmora::u32;
using Velmora::u8;
using Velmora::Processor::Carrier;
using Velmora::Processor::ModulationsManager;
using Velmora::Processor::Oscillators;
using Velmora::Processor::PlayedCarrier;
using Velmora::Processor::VoiceOscillator;

/// A played carrier with one sine-like triangle oscillator, 32 voices, short times and full volume.
struct PlayedRig {
    float rate;
    u32 blockSize;
    std::unique_ptr<PlayedCarrier> played;
    Velmora::dsp::EventQueue events;
    std::vector<float> left;
    std::vector<float> right;
    std::vector<float> block[2];
    std::vector<float> pitch;
    bool hasPitchInput = false;
    float tempo = 120.0F;
    float songPosition = 0.0F;

    explicit PlayedRig(float sampleRate = 44100.0F, const std::string& tuningLibrary = {})
        : rate(sampleRate), blockSize(static_cast<u32>(std::lround(sampleRate * 0.0002494331F)) * 4),
          played(std::make_unique<PlayedCarrier>(std::string(), tuningLibrary)), pitch(blockSize, 0.0F) {
        for (auto& channel : block) {
            channel.assign(blockSize, 0.0F);
        }
        SetVoice(Oscillators::Osc1Waveform, VoiceOscillator::Triangle);
        SetVoice(Oscillators::Osc1Volume, 0.0F);
        SetVoice(Oscillators::Osc1Coarse, 0.0F);
        SetVoice(Oscillators::Osc2Coarse, 0.0F);
        SetVoice(Oscillators::Osc2KeyTrack, 1.0F);
        Set(PlayedCarrier::Volume, 0.0F);
        Set(PlayedCarrier::Attack, 0.002F);
        Set(PlayedCarrier::Release, 0.01F);
        Set(PlayedCarrier::PolyphonyMode, 12.0F);
        played->SeedNoise(1);
        played->Initialize(rate, blockSize);
    }

    void Set(u32 index, float value) {
        played->SetParameterValue(PlayedCarrier::childParameterCount + index, value);
    }
    void SetCarrier(u32 index, float value) {
        played->SetParameterValue(PlayedCarrier::FirstParameter<2>() + Carrier::childParameterCount + index,
                                  value);
    }
    void SetVoice(u32 index, float value) {
        played->SetParameterValue(
            PlayedCarrier::FirstParameter<2>() + Oscillators::childParameterCount + index, value);
    }
    void SetModulations(u32 index, float value) {
        played->SetParameterValue(ModulationsManager::childParameterCount + index, value);
    }
    /// An amount of the matrix, with all sources on.
    void Route(u32 source, u32 destination, float amount) {
        SetModulations(ModulationsManager::EnvFollowerEnable, 1.0F);
        SetModulations(ModulationsManager::LFOEnable, 1.0F);
        SetModulations(ModulationsManager::ControlsEnable, 1.0F);
        Run();
        played->SetParameterValue(Velmora::Processor::ModulationMatrix::Cell(destination, source), amount);
    }
    void SetChord(u32 id, bool on) {
        played->SetParameterNormalized(PlayedCarrier::FirstParameter<1>() + id, on ? 1.0F : 0.0F);
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
        const float* inputs[3] = {hasPitchInput ? pitch.data() : nullptr, nullptr, nullptr};
        float* outputs[2] = {block[0].data(), block[1].data()};
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs;
        context.numInputs = 3;
        context.outputs = outputs;
        context.numOutputs = 2;
        context.numFrames = blockSize;
        context.inputEvents = &events;
        context.tempo = tempo;
        context.songPosition = songPosition;
        Velmora::dsp::RunChild(*played, context);
        events.Clear();
    }
    void RunSeconds(double seconds) { Run(static_cast<u32>(std::ceil(seconds * rate / blockSize))); }
    void Forget() {
        left.clear();
        right.clear();
    }
    void Track(float hz) {
        hasPitchInput = true;
        pitch.assign(blockSize, hz);
    }

    Carrier& Sound() { return played->Sound(); }
    float FrequencyOf(u32 voice) {
        return Sound().Voice(voice).FindParameter(Oscillators::frequency)->GetValue();
    }
    std::size_t ActiveCount() const { return played->Sound().ActiveVoices().size(); }
};

} // namespace orphia::test
