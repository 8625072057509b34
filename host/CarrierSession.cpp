// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/CarrierSession.h"

#include "dsp/AlignedBuffer.h"
#include "dsp/DenormalGuard.h"
#include "dsp/EventQueue.h"
#include "dsp/RunChild.h"
#include "processor/PlayedCarrier.h"

#include <array>

namespace orphia::host {

using Velmora::Processor::PlayedCarrier;

static_assert(CarrierSession::maxEvents == Velmora::dsp::EventQueue::capacity);

/// The carrier with the buffers and events of one block.
struct CarrierSession::Engine {
    static constexpr std::uint32_t outputCount = 2;

    PlayedCarrier core;
    std::uint32_t blockSize;
    Velmora::dsp::BlockPool buffers;
    Velmora::dsp::EventQueue events;

    explicit Engine(std::uint32_t size) : blockSize(size) { buffers.Allocate(outputCount, blockSize); }

    void Run(const Transport& transport) {
        // There is no voice whose pitch could be tracked.
        const std::array<const float*, 1> inputs{};
        const std::array<float*, outputCount> outputs{buffers[0], buffers[1]};
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs.data();
        context.numInputs = inputs.size();
        context.outputs = outputs.data();
        context.numOutputs = outputCount;
        context.numFrames = blockSize;
        context.inputEvents = &events;
        context.tempo = static_cast<float>(transport.tempo);
        context.songPosition = static_cast<float>(transport.beat);
        context.isPlaying = 1;
        context.isOffline = 1;
        Velmora::dsp::RunChild(core, context);
    }
};

CarrierSession::CarrierSession(std::uint32_t rate, std::uint32_t noiseSeed) : EngineSession(rate) {
    const auto hertz = static_cast<float>(rate);
    engine = std::make_unique<Engine>(BlockSize(hertz));
    engine->core.SeedNoise(noiseSeed);
    engine->core.Initialize(hertz, engine->blockSize);
}

CarrierSession::~CarrierSession() = default;

bool CarrierSession::Write(const ParameterSetting& setting) {
    if (setting.id >= PlayedCarrier::parameterCount) {
        return false;
    }
    WriteTo(engine->core, setting);
    return true;
}

void CarrierSession::Control(std::uint32_t id, float value) {
    Write({id, ParameterSetting::Scale::Value, value});
}

float CarrierSession::Value(std::uint32_t id) const {
    const Velmora::dsp::ModuleParam* record = engine->core.FindParameter(id);
    return record != nullptr ? record->PeekValue() : 0.0F;
}

std::uint32_t CarrierSession::FramesPerBlock() const { return engine->blockSize; }

void CarrierSession::ProcessBlock(std::span<const MidiMessage> events, const Transport& transport,
                                  std::span<float> output) {
    const Velmora::dsp::DenormalGuard guard;
    if (!started) {
        // Smoothers take what is set now.
        engine->core.Reset(true);
        started = true;
    }
    engine->events.Clear();
    for (const MidiMessage& message : events) {
        engine->events.AppendMidi(message.status, message.data1, message.data2);
    }
    engine->Run(transport);
    for (std::size_t n = 0; n < output.size(); ++n) {
        output[n] = engine->buffers[n % 2][n / 2];
    }
}

} // namespace orphia::host
