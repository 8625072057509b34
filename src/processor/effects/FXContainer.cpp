// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/effects/FXContainer.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/framework/RunChild.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

using dsp::ModuleParam;
using dsp::ProcessContext;

static_assert(FXContainer::parameterCount == 698);

/// Of a unit: the lookahead of the compressor, or some frames at any rate.
constexpr float longestLatencySeconds = 0.0101F;
constexpr u32 latencyFrames = 32;
constexpr float realignSeconds = 0.025F;

std::vector<ModuleParam> Records() {
    return dsp::RecordsOf({dsp::Declare::Switch("FX_Routing"), dsp::Declare::Switch("FX_Enable")});
}

/// In double precision, so that three times the same is that again to the bit.
float MeanOfThree(float a, float b, float c) {
    return static_cast<float>((static_cast<double>(a) + static_cast<double>(b) + static_cast<double>(c)) /
                              3.0);
}

} // namespace

FXContainer::FXContainer(std::string moduleName)
    : ModuleContainer(std::move(moduleName), inputCount, outputCount, Records(), std::make_tuple("FX1"),
                      std::make_tuple("FX2"), std::make_tuple("FX3")),
      slots{&Child<0>(), &Child<1>(), &Child<2>()} {}

void FXContainer::OnInitialize(float sampleRate, u32 maxBlockSize) {
    buffers.Allocate(2 * slotCount, maxBlockSize);
    const auto longest = static_cast<u32>(std::ceil(longestLatencySeconds * sampleRate)) + latencyFrames;
    for (Path& path : paths) {
        for (dsp::SteadyDelay& side : path) {
            side.Allocate(longest, std::max(static_cast<u32>(realignSeconds * sampleRate), 1U));
        }
    }
}

void FXContainer::OnReset(bool /*hard*/) {
    latency = 0;
    startsPaths = true;
}

bool FXContainer::UpdateParameters(ProcessContext& /*context*/) {
    if (additional.anyParameterChanged) {
        if (AdditionalChanged(Routing)) {
            isParallel = AdditionalValue(Routing) > 0.5F;
            startsPaths = true;
        }
        if (AdditionalChanged(Enable) && additional.parameters[Enable].GetNormalized() < 0.5F) {
            Reset(false);
        }
    }
    return true;
}

bool FXContainer::Process(ProcessContext& context) {
    if (context.numOutputs < outputCount) {
        return false;
    }
    latency = 0;
    if (additional.parameters[Enable].GetNormalized() < 0.5F) {
        for (u32 channel = 0; channel < outputCount; ++channel) {
            dsp::CopyChannel(context, channel);
        }
    } else if (isParallel) {
        RunParallel(context);
    } else {
        RunSeries(context);
    }
    return true;
}

void FXContainer::RunSeries(const ProcessContext& context) {
    const Pair outputs{context.outputs[0], context.outputs[1]};
    std::array sound{context.InputOrNull(0), context.InputOrNull(1)};
    const auto isOutput = [&outputs](const float* channel) {
        return channel == outputs[0] || channel == outputs[1];
    };
    for (u32 slot = 0; slot < slotCount; ++slot) {
        if (slots[slot]->PassesInput()) {
            continue;
        }
        const bool takesWorkBuffers = slot + 1 < slotCount || isOutput(sound[0]) || isOutput(sound[1]);
        const Pair processed = takesWorkBuffers ? WorkBuffers(slot) : outputs;
        RunSlot(slot, context, sound[0], sound[1], processed);
        latency += slots[slot]->Latency();
        std::copy(processed.begin(), processed.end(), sound.begin());
    }
    const ProcessContext last = context.ForChild(sound.data(), sound.size(), context.outputs, outputCount);
    dsp::CopyChannel(last, 0);
    dsp::CopyChannel(last, 1);
}

void FXContainer::RunParallel(const ProcessContext& context) {
    for (u32 slot = 0; slot < slotCount; ++slot) {
        RunSlot(slot, context, context.InputOrNull(0), context.InputOrNull(1), WorkBuffers(slot));
        latency = std::max(latency, slots[slot]->Latency());
    }
    AlignPaths(context.numFrames);
    for (u32 channel = 0; channel < outputCount; ++channel) {
        const float* a = WorkBuffers(0)[channel];
        const float* b = WorkBuffers(1)[channel];
        const float* c = WorkBuffers(2)[channel];
        float* out = context.outputs[channel];
        for (u32 n = 0; n < context.numFrames; ++n) {
            out[n] = MeanOfThree(a[n], b[n], c[n]);
        }
    }
}

void FXContainer::AlignPaths(u32 frames) {
    for (u32 slot = 0; slot < slotCount; ++slot) {
        for (u32 side = 0; side < outputCount; ++side) {
            dsp::SteadyDelay& delay = paths[slot][side];
            delay.SetDelay(latency - slots[slot]->Latency());
            if (startsPaths) {
                delay.Clear();
            }
            float* sound = WorkBuffers(slot)[side];
            std::transform(sound, sound + frames, sound, [&delay](float x) { return delay.Tick(x); });
        }
    }
    startsPaths = false;
}

void FXContainer::RunSlot(u32 slot, const ProcessContext& context, const float* left, const float* right,
                          const Pair& outputs) {
    Inputs inputs{};
    inputs[0] = left;
    inputs[1] = right;
    for (u32 signal = 0; signal < FXVariant::signalCount; ++signal) {
        for (const u32 place : FXVariant::signalInputs[signal]) {
            if (place != 0) {
                inputs[place] = context.InputOrNull(Pins::Slot1First + signal * slotCount + slot);
            }
        }
    }
    ProcessContext child =
        context.ForChild(inputs.data(), FXVariant::inputCount, outputs.data(), outputCount);
    dsp::RunChild(*slots[slot], child);
}

} // namespace Velmora::Processor
