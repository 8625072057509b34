// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/effects/FXContainer.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/framework/RunChild.h"

#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

using dsp::ModuleParam;
using dsp::ProcessContext;

static_assert(FXContainer::parameterCount == 698);

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

void FXContainer::OnInitialize(float /*sampleRate*/, u32 maxBlockSize) {
    buffers.Allocate(2 * slotCount, maxBlockSize);
}

void FXContainer::OnReset(bool /*hard*/) {}

bool FXContainer::UpdateParameters(ProcessContext& /*context*/) {
    if (additional.anyParameterChanged) {
        if (AdditionalChanged(Routing)) {
            isParallel = AdditionalValue(Routing) > 0.5F;
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
    const Pair first = WorkBuffers(0);
    const Pair second = WorkBuffers(1);
    RunSlot(0, context, context.InputOrNull(0), context.InputOrNull(1), first);
    RunSlot(1, context, first[0], first[1], second);
    RunSlot(2, context, second[0], second[1], {context.outputs[0], context.outputs[1]});
}

void FXContainer::RunParallel(const ProcessContext& context) {
    for (u32 slot = 0; slot < slotCount; ++slot) {
        RunSlot(slot, context, context.InputOrNull(0), context.InputOrNull(1), WorkBuffers(slot));
    }
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
