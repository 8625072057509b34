// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/DsplibProcessor.h"
#include "processor/FakeEngine.h"

#include <array>

namespace orphia::test {

/// The adapter around the stand-in engine, with its insides in reach.
struct Adapter : Velmora::Processor::DsplibProcessor<FakeEngine, 1> {
    using Velmora::Processor::DsplibProcessor<FakeEngine, 1>::DsplibProcessor;
    using DsplibProcessor::engine;
    using DsplibProcessor::inputEvents;
    using DsplibProcessor::outputEvents;
    using DsplibProcessor::portEvents;
};

/// A block of a host with two outputs, one auxiliary output and two auxiliary inputs, which hold no silence.
struct HostBlock {
    static constexpr u32 room = 512;

    alignas(16) std::array<std::array<float, room>, 5> sound;
    std::array<float*, 2> outputs{sound[0].data(), sound[1].data()};
    std::array<float*, 1> auxOutputs{sound[2].data()};
    std::array<const float*, 2> auxInputs{sound[3].data(), sound[4].data()};
    Velmora::Processor::HostProcessData data{};

    explicit HostBlock(u32 frames = 44) {
        for (auto& channel : sound) {
            channel.fill(7.0F);
        }
        data.outputs = outputs.data();
        data.numOutputs = 2;
        data.auxOutputs = auxOutputs.data();
        data.numAuxOutputs = 1;
        data.auxInputs = auxInputs.data();
        data.numAuxInputs = 2;
        data.numFrames = frames;
    }
};

} // namespace orphia::test
