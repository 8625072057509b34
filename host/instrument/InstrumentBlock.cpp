// SPDX-License-Identifier: GPL-3.0-or-later
// Events and blocks of the instrument: the part for audio threads.
#include "dsp/math/DenormalGuard.h"
#include "host/instrument/InstrumentEngine.h"

#include <algorithm>

namespace orphia::host {

namespace {

constexpr unsigned keyPressureKind = 0xA0;
/// From nothing to full, so that a volume may jump without a click.
constexpr float gainSeconds = 0.02F;

} // namespace

/// Ends the bracket around a preset, which stays open so long that what is set up to here belongs to it. A
/// block of no length sees the changes first, so that none of them acts on the first notes, and then nothing
/// glides.
void Instrument::Engine::Start() {
    if (!hasStarted) {
        const Velmora::dsp::DenormalGuard guard;
        late.DelayHold(*this, sampleRate, blockFrames);
        Run(0, 0);
        Write(ids.presetLoading, 0.0F);
        // The end of the bracket lets go of both.
        for (const std::uint32_t id : {ids.pressure, ids.brightness}) {
            const float position = Position(id);
            Write(id, 0.0F);
            Write(id, position);
        }
        gain = controls->Gain();
        late.Arrive();
        hasStarted = true;
    }
}

bool Instrument::Engine::Push(const MidiMessage& message) {
    if (eventsInBlock == maxEvents) {
        return false;
    }
    const Velmora::u8 midi[3] = {message.status, message.data1, message.data2};
    processor->PushEvent(midi);
    ++eventsInBlock;
    return true;
}

bool Instrument::Engine::ReleaseChannel(unsigned channel) {
    return held.Release(channel, [this](const MidiMessage& message) { return Push(message); });
}

void Instrument::Engine::ReleaseWaiting() {
    for (unsigned channel = 0; channel < HeldNotes::channelCount && releasing != 0; ++channel) {
        const std::uint32_t bit = 1U << channel;
        if ((releasing & bit) != 0 && !ReleaseChannel(channel)) {
            return;
        }
        releasing &= ~bit;
    }
    releasing = 0;
}

/// Parameters act in front of all notes of a block, so a pedal must not overtake notes, nor another move of
/// the pedal.
bool Instrument::Send(const MidiMessage& message) {
    engine->Start();
    if (message.Kind() < 0x80 || message.Kind() > 0xE0 || engine->releasing != 0) {
        return engine->releasing == 0;
    }
    if (message.Kind() <= keyPressureKind) {
        const bool isTaken = engine->Push(message);
        if (isTaken) {
            engine->held.Take(message);
            if (engine->controls->CountNote(message)) {
                engine->gain = engine->controls->Gain();
            }
        }
        return isTaken;
    }
    const bool movesPedal = engine->controls->MovesPedal(message);
    if (movesPedal && (engine->pedalMoved || engine->eventsInBlock > 0)) {
        return false;
    }
    if (MidiControls::EndsNotes(message) && !engine->ReleaseChannel(message.Channel())) {
        return false;
    }
    engine->pedalMoved = engine->pedalMoved || movesPedal;
    engine->controls->Handle(message);
    return true;
}

void Instrument::ProcessBlock(const float* const* voice, std::uint32_t voiceChannels, float* const* output) {
    const Velmora::dsp::DenormalGuard guard;
    engine->Start();
    engine->ReleaseWaiting();
    engine->late.LetShiftArrive(*engine);
    engine->LoadInput(voice, voiceChannels);
    engine->Run(engine->blockFrames, voiceChannels);
    for (std::uint32_t side = 0; side < 2; ++side) {
        std::copy_n(engine->buffers[2 + side], engine->blockFrames, output[side]);
    }
    engine->ApplyGain(output);
    if (engine->limiter) {
        engine->limiter->Process(output, engine->blockFrames);
    }
    engine->CollectMeters();
    engine->late.HoldOnceItSounds(*engine);
}

void Instrument::Engine::LoadInput(const float* const* voice, std::uint32_t channels) {
    for (std::uint32_t side = 0; side < std::min(channels, 2U); ++side) {
        std::copy_n(voice[side], blockFrames, buffers[side]);
    }
}

void Instrument::Engine::Run(std::uint32_t frames, std::uint32_t channels) {
    const std::array<const float*, 2> voices{buffers[0], buffers[1]};
    const std::array<float*, 2> outputs{buffers[2], buffers[3]};
    Velmora::Processor::HostProcessData data{};
    data.outputs = outputs.data();
    data.numOutputs = outputs.size();
    data.numFrames = frames;
    data.auxInputs = voices.data();
    data.numAuxInputs = std::min(channels, 2U);
    data.processMode = isOffline ? Velmora::Processor::HostProcessData::offlineMode : 0;
    data.tempo = static_cast<float>(transport.tempo);
    data.isPlaying = transport.isPlaying ? 1 : 0;
    data.songPosition = static_cast<float>(transport.beat);
    processor->Process(&data);
    processor->ClearEvents();
    eventsInBlock = 0;
    pedalMoved = false;
    // They would be full for ever.
    const Velmora::Processor::ParameterDataRecord* changes = nullptr;
    Velmora::u32 changeCount = 0;
    processor->GetParameterDataChanges(&changes, &changeCount);
    if (transport.isPlaying) {
        transport.beat += frames / static_cast<double>(sampleRate) * transport.tempo / 60.0;
    }
}

void Instrument::Engine::ApplyGain(float* const* output) {
    const float target = controls->Gain();
    if (gain == 1.0F && target == 1.0F) {
        return;
    }
    const float step = 1.0F / (gainSeconds * static_cast<float>(sampleRate));
    for (std::uint32_t n = 0; n < blockFrames; ++n) {
        gain += std::clamp(target - gain, -step, step);
        output[0][n] *= gain;
        output[1][n] *= gain;
    }
}

void Instrument::Engine::CollectMeters() {
    const auto collect = [this](float& largest, std::uint32_t id) {
        largest = std::max(largest, Position(id));
    };
    collect(meters.hiss, ids.hiss);
    collect(meters.buzz, ids.buzz);
    collect(meters.programOverload, ids.programOverload);
    collect(meters.carrierOverload, ids.carrierOverload);
    for (std::uint32_t band = 0; band < MeterReading::bandCount; ++band) {
        collect(meters.bands[band], ids.late.firstBand + band);
    }
    if (limiter) {
        meters.limiterReduction = std::max(meters.limiterReduction, limiter->TakeReduction());
    }
}

} // namespace orphia::host
