// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/VocoderProcessorFactory.h"
#include "rigs/SpeakingSettings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace orphia::test {

/// A host that plays one processor through its interface, and does what no host should.
class RandomHost {
public:
    using u32 = Velmora::u32;
    using u8 = Velmora::u8;
    static constexpr u32 blockSize = 44;
    /// The most frames of a block that it takes, for hosts at other rates.
    static constexpr u32 room = 400;

    using Processor = Velmora::Processor::IProcessor_V8;

    /// Gives a number below a limit.
    using Draw = std::function<u32(u32 limit)>;

    explicit RandomHost(u32 seed) : RandomHost(seed, MakeProcessor()) {}
    RandomHost(u32 seed, std::unique_ptr<Processor> played)
        : RandomHost(
              [random = std::mt19937(seed)](u32 limit) mutable { return static_cast<u32>(random() % limit); },
              std::move(played)) {}
    RandomHost(Draw drawn, std::unique_ptr<Processor> played)
        : processor(std::move(played)), draw(std::move(drawn)) {
        processor->Connect(nullptr);
        const Velmora::Processor::ProcessorSetup setUp{44100.0F};
        processor->Initialize(&setUp);
        Velmora::Processor::VocoderProcessor described;
        LetSpeak(described);
        // The engine computes the constants of its filters from the rate, and a host saves them too.
        described.Initialize(setUp.sampleRate, blockSize);
        for (u32 id = 0; id < Velmora::Processor::VocoderProcessor::parameterCount; ++id) {
            preset.push_back(described.GetParameterNormalized(id));
        }
    }

    u32 Below(u32 limit) { return draw(limit); }

    /// The values of a sound that is known to be heard, in their bracket.
    void LoadPreset() {
        using Engine = Velmora::Processor::VocoderProcessor;
        constexpr u32 presetLoading = Engine::ReservedId(Velmora::Processor::PresetLoading);
        processor->SetParameter(presetLoading, 1.0F);
        Restore(0, presetLoading);
        Restore(presetLoading + 1, static_cast<u32>(preset.size()));
        processor->SetParameter(presetLoading, 0.0F);
    }
    /// Those values, from `first` up to before `end`, without the bracket.
    void Restore(u32 first, u32 end) {
        for (u32 id = first; id < end; ++id) {
            processor->SetParameter(id, preset[id]);
        }
    }

    struct Setting {
        u32 id;
        float position;
    };
    /// Any id at and beyond every edge, with a value from anywhere.
    Setting AnySetting() {
        using Engine = Velmora::Processor::VocoderProcessor;
        constexpr u32 reserved = Engine::ReservedId({});
        constexpr u32 end = Engine::parameterCount; // and the adapter's two behind
        constexpr std::array<u32, 10> edges = {0,
                                               Engine::firstIds[1] - 1,
                                               Engine::firstIds[1],
                                               reserved - 1,
                                               reserved,
                                               end - 1,
                                               end,
                                               end + 1,
                                               0x7FFFFFFF,
                                               0xFFFFFFFF};
        const u32 id = Below(20) == 0 ? edges[Below(edges.size())] : Below(end + 3);
        return {id, AnyNumber()};
    }
    void SetAnything() {
        const Setting setting = AnySetting();
        processor->SetParameter(setting.id, setting.position);
    }
    void PushAnything() {
        const u8 midi[3] = {static_cast<u8>(Below(256)), static_cast<u8>(Below(256)),
                            static_cast<u8>(Below(256))};
        processor->PushEvent(midi);
    }
    void NoteOn(u8 note) {
        const u8 midi[3] = {0x90, note, 100};
        processor->PushEvent(midi);
    }

    float AnyNumber() {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        constexpr std::array<float, 9> odd = {std::numeric_limits<float>::quiet_NaN(),
                                              infinity,
                                              -infinity,
                                              1e30F,
                                              -1e30F,
                                              1e-40F,
                                              -1.0F,
                                              2.0F,
                                              -0.0F};
        return Below(4) == 0 ? odd[Below(odd.size())] : Position();
    }
    float Position() { return static_cast<float>(Below(1001)) * 0.001F; }

    /// One block. A voice that is not given is a sung tone.
    void Block(u32 frames = blockSize, u32 auxInputs = 2, const float* sample = nullptr) {
        constexpr u32 panic = Velmora::Processor::VocoderProcessor::ReservedId(Velmora::Processor::Panic);
        if (Below(8) != 0) { // most blocks are to be rendered
            processor->SetParameter(panic, 0.0F);
        }
        for (u32 n = 0; n < frames; ++n) {
            const float phase = 0.02F * static_cast<float>(++time % 44100);
            voice[n] = sample != nullptr ? *sample : 0.3F * (std::sin(phase) + std::sin(7.0F * phase));
        }
        const float* aux[2] = {voice.data(), voice.data()};
        float* out[2] = {left.data(), right.data()};
        Velmora::Processor::HostProcessData data{};
        data.outputs = out;
        data.numOutputs = 2;
        data.auxInputs = aux;
        data.numAuxInputs = auxInputs;
        data.numFrames = frames;
        data.tempo = tempo;
        data.songPosition = songPosition;
        processor->Process(&data);
        processor->ClearEvents();
        const Velmora::Processor::ParameterDataRecord* records = nullptr;
        u32 count = 0;
        processor->GetParameterDataChanges(&records, &count);
    }
    /// Of the last block; infinite when a sample is not finite.
    float Peak() const {
        float peak = 0.0F;
        for (const auto* side : {&left, &right}) {
            for (const float x : *side) {
                peak =
                    std::isfinite(x) ? std::max(peak, std::abs(x)) : std::numeric_limits<float>::infinity();
            }
        }
        return peak;
    }

    std::unique_ptr<Processor> processor;
    float tempo = 120.0F;
    float songPosition = 0.0F;

private:
    static std::unique_ptr<Processor> MakeProcessor() {
        Velmora::Processor::VocoderProcessorFactory factory;
        return std::unique_ptr<Processor>(static_cast<Processor*>(factory.CreateProcessor()));
    }

    Draw draw;
    std::vector<float> preset;
    u32 time = 0;
    alignas(16) std::array<float, room> voice{};
    alignas(16) std::array<float, room> left{};
    alignas(16) std::array<float, room> right{};
};

} // namespace orphia::test
