// SPDX-License-Identifier: GPL-3.0-or-later
// Voices and what plays them, 44 frames a block: nanoseconds per frame unless a row says otherwise.
#include "bench/BenchSignals.h"
#include "dsp/framework/EventQueue.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "processor/instrument/VocoderProcessor.h"
#include "support/platform/Platform.h"

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

namespace {

using namespace orphia::bench;
using namespace Velmora::Processor;
using Velmora::i32;
using Velmora::u32;
using Velmora::u8;
using Velmora::dsp::DenormalGuard;
using Velmora::dsp::ProcessContext;
using Velmora::dsp::RunChild;

void SetUpVoice(auto& setter, i32 waveform, float shape) {
    setter(Oscillators::ParameterId(Oscillators::Osc1Waveform), static_cast<float>(waveform));
    setter(Oscillators::ParameterId(Oscillators::Osc2Waveform), static_cast<float>(waveform));
    setter(Oscillators::ParameterId(Oscillators::Osc1Coarse), 0.0F);
    setter(Oscillators::ParameterId(Oscillators::Osc2Coarse), 0.0F);
    setter(Oscillators::ParameterId(Oscillators::Osc1Volume), -6.0F);
    setter(Oscillators::ParameterId(Oscillators::Osc2Volume), -6.0F);
    setter(Oscillators::ParameterId(Oscillators::Osc1Shape), shape);
    setter(Oscillators::ParameterId(Oscillators::Osc2Shape), shape);
    setter(Oscillators::ParameterId(Oscillators::Osc2Fine), 0.1F);
    setter(Oscillators::ParameterId(Oscillators::Osc2KeyTrack), 1.0F);
}

/// A voice by itself. Arguments: waveform, sync, FM.
void Voice(benchmark::State& state) {
    const DenormalGuard guard;
    auto voice = std::make_unique<Oscillators>();
    const auto set = [&voice](u32 id, float value) { voice->SetParameterValue(id, value); };
    SetUpVoice(set, static_cast<i32>(state.range(0)), 0.3F);
    set(Oscillators::ParameterId(Oscillators::Sync), static_cast<float>(state.range(1)));
    set(Oscillators::ParameterId(Oscillators::FMAmount), 0.02F * static_cast<float>(state.range(2)));
    set(Oscillators::frequency, 220.0F);
    voice->Initialize(sampleRate, blockSize);
    voice->Envelope().Restart();
    alignas(64) std::array<std::array<float, blockSize>, 2> out{};
    float* outputs[] = {out[0].data(), out[1].data()};
    ProcessContext context;
    context.outputs = outputs;
    context.numOutputs = 2;
    context.numFrames = blockSize;
    for (auto _ : state) {
        RunChild(*voice, context);
        benchmark::ClobberMemory();
    }
    ReportPerFrame(state, blockSize);
}

/// An instrument whose carrier has saw voices of two oscillators, filter and drive.
struct Rig {
    std::unique_ptr<VocoderProcessor> played = std::make_unique<VocoderProcessor>();
    alignas(64) std::array<std::array<float, blockSize>, 2> out{};
    alignas(64) std::array<float, blockSize> pitch{};
    const float* inputs[1] = {pitch.data()};
    float* outputs[2] = {out[0].data(), out[1].data()};
    Velmora::dsp::EventQueue events;
    ProcessContext context;

    Rig() {
        const u32 carrier = VocoderProcessor::FirstParameter<3>();
        const auto set = [this, carrier](u32 id, float value) {
            played->SetParameterValue(carrier + id, value);
        };
        SetUpVoice(set, VoiceOscillator::Saw, 0.3F);
        // Otherwise the lower keys choose samples.
        played->SetParameterValue(VocoderModulator::ParameterId(VocoderModulator::ExternalInput), 1.0F);
        played->SetParameterValue(VocoderProcessor::ParameterId(VocoderProcessor::PolyphonyMode), 12.0F);
        played->SetParameterValue(VocoderProcessor::ParameterId(VocoderProcessor::Attack), 0.002F);
        played->SetParameterValue(VocoderProcessor::ParameterId(VocoderProcessor::Release), 0.002F);
        played->Initialize(sampleRate, blockSize);
        context.outputs = outputs;
        context.numOutputs = 2;
        context.numFrames = blockSize;
        context.inputEvents = &events;
        Run();
    }

    void Run() {
        RunChild(*played, context);
        events.Clear();
    }
    void HoldNotes(u32 count) {
        for (u32 i = 0; i < count; ++i) {
            events.AppendMidi(0x90, static_cast<u8>(36 + i), 100);
        }
        Run();
    }
    void TrackAllIntervals() {
        pitch.fill(110.0F);
        played->SetParameterNormalized(
            VocoderProcessor::FirstParameter<3>() + Carrier::ParameterId(Carrier::PitchTrack), 1.0F);
        for (u32 id = 0; id < 27; ++id) {
            if (id != 1) {
                played->SetParameterNormalized(VocoderProcessor::FirstParameter<2>() + id, 1.0F);
            }
        }
        Run();
    }
    void RunCarrier() {
        ProcessContext carrier = context.ForChild(inputs, 1, outputs, 2);
        RunChild(played->CarrierSynth(), carrier);
    }
};

void ExpectVoices(benchmark::State& state, Rig& rig, u32 count) {
    if (rig.played->CarrierSynth().ActiveVoices().size() != count) {
        state.SkipWithError("another number of voices sounds");
    }
}

void MeasureCarrier(benchmark::State& state, Rig& rig, u32 expectedVoices) {
    const DenormalGuard guard;
    for (auto _ : state) {
        rig.RunCarrier();
        benchmark::ClobberMemory();
    }
    ExpectVoices(state, rig, expectedVoices);
    ReportPerFrame(state, blockSize);
}

void CarrierWithPlayedVoices(benchmark::State& state) {
    Rig rig;
    const auto count = static_cast<u32>(state.range(0));
    rig.HoldNotes(count);
    MeasureCarrier(state, rig, count);
}

void CarrierWithAllVoices(benchmark::State& state) {
    Rig rig;
    rig.HoldNotes(playedVoiceCount);
    rig.TrackAllIntervals();
    MeasureCarrier(state, rig, voiceSlotCount);
}

/// All cells routed, all voices running; with 0 the matrix is empty.
void Modulations(benchmark::State& state) {
    const DenormalGuard guard;
    auto manager = std::make_unique<ModulationsManager>();
    manager->Initialize(sampleRate, blockSize);
    for (u32 switchIndex = 0; switchIndex < 3; ++switchIndex) {
        manager->SetParameterNormalized(
            ModulationsManager::FirstParameter<2>() + Velmora::dsp::LFO::parameterCount + switchIndex, 1.0F);
    }
    for (u32 cell = 0; cell < ModulationMatrix::cellCount; ++cell) {
        manager->Matrix().SetParameterValue(cell, state.range(1) != 0 ? 0.01F : 0.0F);
    }
    for (i32 voice = 0; voice < static_cast<i32>(state.range(0)); ++voice) {
        manager->VoiceOn(voice);
    }
    ProcessContext context;
    context.numFrames = blockSize;
    for (auto _ : state) {
        RunChild(*manager, context);
        benchmark::ClobberMemory();
    }
    ReportPerFrame(state, blockSize);
}

/// Sends a note-on, or with velocity 0 a note-off, of 32 keys.
void SendAllKeys(Rig& rig, u8 velocity) {
    Velmora::dsp::Event event;
    event.type = Velmora::dsp::Event::midiType;
    event.midi[0] = 0x90;
    event.midi[2] = velocity;
    for (u8 i = 0; i < playedVoiceCount; ++i) {
        event.midi[1] = static_cast<u8>(36 + i);
        rig.played->HandleEvent(event);
    }
}

/// 32 note-ons, timed on the processor; their note-offs and the freeing of the voices, without any block of
/// sound, go between. Reports the time of one note-on, to be compared with one block of a voice.
void NoteOn(benchmark::State& state) {
    Rig rig;
    for (auto _ : state) {
        const Velmora::u64 start = Velmora::Platform::ThreadNanoseconds();
        SendAllKeys(rig, 100);
        state.SetIterationTime(static_cast<double>(Velmora::Platform::ThreadNanoseconds() - start) * 1e-9);
        SendAllKeys(rig, 0);
        rig.played->ReapVoices();
    }
    SendAllKeys(rig, 100);
    rig.Run();
    ExpectVoices(state, rig, playedVoiceCount);
    state.counters["s/note"] = benchmark::Counter(static_cast<double>(state.iterations() * playedVoiceCount),
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// Blocks that each start and end 128 notes.
void NoteStorm(benchmark::State& state) {
    const DenormalGuard guard;
    Rig rig;
    for (auto _ : state) {
        for (u32 i = 0; i < 128; ++i) {
            rig.events.AppendMidi(0x90, static_cast<u8>(i), 100);
        }
        for (u32 i = 0; i < 128; ++i) {
            rig.events.AppendMidi(0x80, static_cast<u8>(i), 0);
        }
        rig.Run();
        benchmark::ClobberMemory();
    }
    ReportPerFrame(state, blockSize);
}

BENCHMARK(Voice)
    ->ArgNames({"waveform", "sync", "fm"})
    ->Args({0, 0, 0})
    ->Args({1, 0, 0})
    ->Args({2, 0, 0})
    ->Args({3, 0, 0})
    ->Args({0, 1, 1})
    ->Args({1, 1, 1})
    ->Args({2, 1, 1});
BENCHMARK(CarrierWithPlayedVoices)->ArgName("voices")->Arg(0)->Arg(1)->Arg(8)->Arg(32);
BENCHMARK(CarrierWithAllVoices);
BENCHMARK(Modulations)->ArgNames({"voices", "routed"})->Args({0, 0})->Args({32, 0})->Args({57, 1});
BENCHMARK(NoteOn)->UseManualTime();
BENCHMARK(NoteStorm);

} // namespace
