// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/presets/NeutralStart.h"
#include "processor/boundary/IProcessorFactory.h"
#include "processor/instrument/VocoderProcessor.h"
#include "rigs/RandomPlayer.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

extern "C" Velmora::Processor::IProcessorFactory* GetProcessorFactory();

namespace orphia::test {

inline std::unique_ptr<Velmora::Processor::IProcessor_V8> MakeProcessor() {
    const std::unique_ptr<Velmora::Processor::IProcessorFactory> factory(GetProcessorFactory());
    return std::unique_ptr<Velmora::Processor::IProcessor_V8>(
        static_cast<Velmora::Processor::IProcessor_V8*>(factory->CreateProcessor()));
}

/// A host of one processor, which it knows by the interface alone.
class ProcessorHost {
public:
    using Engine = Velmora::Processor::VocoderProcessor;
    static constexpr u32 parameterCount = Engine::parameterCount;
    static constexpr u32 panic = Engine::ReservedId(Velmora::Processor::Panic);
    static constexpr u32 firstPath =
        Velmora::Processor::VocoderModulator::ParameterId(Velmora::Processor::VocoderModulator::SamplePath);
    static constexpr u32 sampleCount = Velmora::Processor::VocoderModulator::sampleCount;
    static constexpr u32 mostChannels = 3;
    /// No sound, and no position of a control.
    static constexpr float untouched = 1.2345678e37F;

    struct Shape {
        u32 frames;
        u32 inputs = 2;
        u32 outputs = 2;
        /// How many samples behind a good place the channels begin.
        u32 shift = 0;
        bool isPlaying = false;
        bool isOffline = false;
    };

    explicit ProcessorHost(std::unique_ptr<Velmora::Processor::IProcessor_V8> played = MakeProcessor(),
                           float sampleRate = 44100.0F)
        : processor(std::move(played)) {
        processor->Connect(nullptr);
        Initialize(sampleRate);
        // The engine computes constants of its filters from the rate, and a host saves them too.
        const host::NeutralStart& neutral = host::NeutralStart::Get();
        for (u32 id = 0; id < parameterCount; ++id) {
            preset.push_back(neutral.IsPartOfPresets(id) ? neutral.Position(id) : Value(id));
        }
    }

    bool Initialize(float sampleRate = 44100.0F) {
        const Velmora::Processor::ProcessorSetup setUp{sampleRate};
        rate = sampleRate;
        blockSize = processor->GetBlockSize(rate);
        return processor->Initialize(&setUp);
    }
    void Set(u32 id, float position) { processor->SetParameter(id, position); }
    void Set(const host::ParameterSetting& knob) { Set(knob.id, knob.number); }
    void Send(const host::MidiMessage& midi) {
        const u8 bytes[] = {midi.status, midi.data1, midi.data2};
        processor->PushEvent(bytes);
    }
    void SetTransport(const host::Transport& transport) {
        tempo = static_cast<float>(transport.tempo);
        songPosition = static_cast<float>(transport.beat);
    }
    /// `untouched` for what has no value.
    float Value(u32 id) const {
        float value = untouched;
        processor->GetParameter(id, &value);
        return value;
    }
    /// Any id at and beyond every edge, with a value from anywhere.
    std::pair<u32, float> AnySetting(RandomPlayer& player) {
        constexpr u32 reserved = Engine::ReservedId({});
        constexpr std::array<u32, 8> edges = {
            Engine::firstIds[1] - 1, Engine::firstIds[1], reserved - 1, reserved,
            parameterCount - 1,      parameterCount,      0x7FFFFFFF,   0xFFFFFFFF};
        const u32 id = player.OneIn(20) ? player.AnyOf(edges) : player.Below(parameterCount + 3);
        return {id, player.AnyNumber()};
    }

    /// The values of a new instrument, in their bracket.
    void LoadPreset() {
        constexpr u32 presetLoading = Engine::ReservedId(Velmora::Processor::PresetLoading);
        Set(presetLoading, 1.0F);
        for (u32 id = 0; id < parameterCount; ++id) {
            if (id != presetLoading) {
                Set(id, preset[id]);
            }
        }
        Set(presetLoading, 0.0F);
    }
    void SetData(u32 id, const std::string& data) {
        auto size = static_cast<u32>(data.size());
        processor->SetParameterData(id, data.data(), &size);
    }
    void WaitForSamples() {
        for (processor->Idle(); processor->IsLoading(); processor->Idle()) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
    }

    void Block(RandomPlayer& player) {
        Prepare(player, {blockSize});
        Run();
    }
    /// The buffers of one block, into which the player sings. They are made for its shape, so that none goes
    /// on behind its end without the address check knowing.
    void Prepare(RandomPlayer& player, const Shape& next) {
        shape = next;
        if (!player.OneIn(8)) { // most blocks are to be rendered
            Set(panic, 0.0F);
        }
        Allocate();
        for (u32 i = 0; i < mostChannels; ++i) {
            std::fill(sound[i].begin(), sound[i].end(), untouched);
        }
        player.Sing({channels[mostChannels], shape.frames});
        for (u32 i = mostChannels + 1; i < sound.size(); ++i) {
            sound[i] = sound[mostChannels];
        }
    }
    void Run() {
        Velmora::Processor::HostProcessData data{};
        data.outputs = shape.outputs > 0 ? channels.data() : nullptr;
        data.numOutputs = shape.outputs;
        data.auxInputs = shape.inputs > 0 ? channels.data() + mostChannels : nullptr;
        data.numAuxInputs = shape.inputs;
        data.numFrames = shape.frames;
        data.tempo = tempo;
        data.songPosition = songPosition;
        data.isPlaying = shape.isPlaying ? 1 : 0;
        data.processMode = shape.isOffline ? data.offlineMode : 0;
        processor->Process(&data);
        Measure();
    }
    void EndBlock() {
        processor->ClearEvents();
        const Velmora::Processor::ParameterDataRecord* records = nullptr;
        u32 count = 0;
        processor->GetParameterDataChanges(&records, &count);
    }
    /// Of the last block; infinite when a sample is not finite, was not written, or should not have been.
    float Peak() const { return peak; }

    std::unique_ptr<Velmora::Processor::IProcessor_V8> processor;
    float tempo = 120.0F;
    float songPosition = 0.0F;
    float rate = 0.0F;
    u32 blockSize = 0;
    /// The values of a new instrument.
    std::vector<float> preset;

private:
    void Allocate() {
        const std::size_t size = shape.frames + shape.shift + 1;
        for (u32 i = 0; i < sound.size(); ++i) {
            if (sound[i].size() != size) {
                std::vector<float>(size).swap(sound[i]);
            }
            channels[i] = sound[i].data() + shape.shift;
        }
    }
    void Measure() {
        peak = 0.0F;
        for (u32 i = 0; i < mostChannels; ++i) {
            for (u32 n = 0; n <= shape.frames; ++n) {
                const float x = channels[i][n];
                const bool isWritten = i < shape.outputs && n < shape.frames;
                const bool isFault = isWritten ? !std::isfinite(x) || x == untouched : x != untouched;
                peak = isFault ? HUGE_VALF : std::max(peak, isWritten ? std::abs(x) : 0.0F);
            }
        }
    }

    Shape shape{};
    /// Outputs, then inputs.
    std::array<std::vector<float>, 2 * mostChannels> sound;
    std::array<float*, 2 * mostChannels> channels{};
    float peak = 0.0F;
};

} // namespace orphia::test
