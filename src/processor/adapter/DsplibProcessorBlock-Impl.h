// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/RunChild.h"
#include "dsp/math/DenormalGuard.h"
#include "processor/adapter/DsplibProcessor.h"

#include <algorithm>

// The block.
namespace Velmora::Processor {

namespace details {

inline void Silence(float* const* channels, u32 count, u32 frames) {
    for (u32 channel = 0; channels != nullptr && channel < count; ++channel) {
        if (channels[channel] != nullptr) {
            std::fill_n(channels[channel], frames, 0.0F);
        }
    }
}

/// Writes the MIDI events of a queue to records, which have room for a full queue, and returns their number.
inline u32 WriteRecords(const dsp::EventQueue& events, HostEventRecord* records) {
    u32 count = 0;
    for (const dsp::Event& event : events) {
        if (event.type == dsp::Event::midiType) {
            records[count++] = {{event.midi[0], event.midi[1], event.midi[2]}};
        }
    }
    return count;
}

} // namespace details

template <class Engine, u32 variant>
bool DsplibProcessor<Engine, variant>::Process(HostProcessData* data) {
    if (data == nullptr) {
        return false;
    }
    // First of all, so that a block that is refused is silent.
    details::Silence(data->outputs, data->numOutputs, data->numFrames);
    details::Silence(data->auxOutputs, data->numAuxOutputs, data->numFrames);
    if (!initialized || maxBlockSize == 0) {
        return true;
    }
    if (data->numFrames <= maxBlockSize && data->numFrames % 4 == 0) {
        RunEngine(*data);
    }
    HandOverEvents(*data);
    return true;
}

template <class Engine, u32 variant>
void DsplibProcessor<Engine, variant>::RunEngine(const HostProcessData& data) {
    dsp::ProcessContext context;
    context.inputs = data.inputs;
    context.auxOutputs = data.auxOutputs;
    context.inputEvents = &inputEvents;
    context.outputEvents = &outputEvents;
    context.numInputs = data.numInputs;
    context.numAuxOutputs = data.numAuxOutputs;
    context.numFrames = data.numFrames;
    context.tempo = data.tempo;
    context.songPosition = data.songPosition;
    context.isPlaying = data.isPlaying;
    context.isOffline = data.processMode == HostProcessData::offlineMode ? 1 : 0;
    context.hostValueA = data.hostValueA;
    context.hostValueB = data.hostValueB;

    auxInputs.Take(data.auxInputs, data.numAuxInputs, data.numFrames);
    context.auxInputs = auxInputs.AreCopied() ? auxInputs.Copies() : data.auxInputs;
    context.numAuxInputs = auxInputs.Count();
    outputs.Take(data.outputs, data.numOutputs, data.numFrames);
    context.outputs = outputs.AreCopied() ? outputs.Copies() : data.outputs;
    // The host's own count: a channel too many, for which there is no copy, is refused.
    context.numOutputs = data.numOutputs;
    {
        const dsp::DenormalGuard guard;
        dsp::RunChild(engine, context);
    }
    outputs.GiveBack(data.outputs, data.numFrames);
}

template <class Engine, u32 variant>
void DsplibProcessor<Engine, variant>::HandOverEvents(HostProcessData& data) {
    data.numOutEvents = details::WriteRecords(outputEvents, outRecords.data());
    data.outEvents = outRecords.data();
    for (u32 port = 0; data.portOutputs != nullptr && port < data.numPorts; ++port) {
        HostPortEvents& target = data.portOutputs[port];
        if (port >= portEvents.size()) {
            target = {0, nullptr};
            continue;
        }
        target.records = &portOutRecords[std::size_t{port} * eventCapacity];
        target.count =
            details::WriteRecords(portEvents[port], &portOutRecords[std::size_t{port} * eventCapacity]);
    }
}

} // namespace Velmora::Processor
