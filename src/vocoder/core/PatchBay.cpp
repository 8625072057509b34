// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/PatchBay.h"

#include "dsp/framework/RunChild.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

using dsp::ModuleParam;

std::vector<ModuleParam> Records() {
    std::vector<ModuleParam> records;
    records.reserve(PatchBay::parameterCount);
    for (u32 synthesis = 1; synthesis <= PatchBay::bandCount; ++synthesis) {
        for (u32 analysis = 1; analysis <= PatchBay::bandCount; ++analysis) {
            ModuleParam& route = records.emplace_back(ModuleParam::Mapped(
                "Analysis" + std::to_string(analysis) + "_Synthesis" + std::to_string(synthesis), 1, -1.0F,
                1.0F, 1.0F));
            route.SetValue(0.0F);
        }
    }
    for (u32 band = 1; band <= PatchBay::bandCount; ++band) {
        records.push_back(ModuleParam::Mapped("GainBand" + std::to_string(band), 4, 0.0F, 1.0F, 3.0F));
    }
    records.push_back(ModuleParam::Stepped("SampleHold", 2, 0.0F, 1.0F));
    records.push_back(ModuleParam::Stepped("Activated", 2, 0.0F, 1.0F));
    return records;
}

} // namespace

// The rectifiers write every source in every block.
PatchBay::PatchBay()
    : UnitModule("PatchBay", 1, 0, Records()), matrix("Modulations", {.alwaysChanged = Matrix::allSources}) {
    for (u32 lane = 0; lane < laneCount; ++lane) {
        matrix.SetVoiceActive(lane, true);
    }
}

bool PatchBay::SetParameterNormalized(u32 id, float value) {
    UnitModule::SetParameterNormalized(id, value);
    return Route(id, value);
}

bool PatchBay::SetParameterValue(u32 id, float value) {
    UnitModule::SetParameterValue(id, value);
    Route(id, parameters[id].PeekNormalized());
    return true;
}

/// Hands a route on to the matrix, whose cells are numbered alike.
bool PatchBay::Route(u32 id, float position) {
    if (id < routeCount) {
        matrix.SetParameterNormalized(id, position);
        matrix.SetParameterNormalized(Matrix::cellCount + id, position);
        return true;
    }
    return id == sampleHold && position > 0.5F;
}

void PatchBay::OnInitialize(float sampleRate, u32 maxBlockFrames) {
    matrix.Initialize(sampleRate, maxBlockFrames);
    maxBlockSize = maxBlockFrames;
    holdBuffers.Allocate(signalCount, dsp::RoundUpToFour(maxBlockFrames));
    outputPointers.fill(matrix.SilentChannel());
    for (u32 signal = 0; signal < signalCount; ++signal) {
        holdPointers[signal] = holdBuffers[signal];
        sourcePointers[signal] = matrix.VoiceSource(signal / bandCount, signal % bandCount).data();
    }
}

void PatchBay::OnReset(bool hard) {
    matrix.Reset(hard);
    for (u32 signal = 0; signal < signalCount; ++signal) {
        std::fill_n(holdPointers[signal], maxBlockSize, 0.0F);
        outputPointers[signal] = holdPointers[signal];
    }
}

bool PatchBay::Process(dsp::ProcessContext& context) {
    const bool wasHolding = holding;
    holding = parameters[sampleHold].GetModulatedValue(context, 0) > 0.5F;
    if (holding) {
        if (!wasHolding) {
            Hold();
        }
        return true;
    }
    ScaleSources(context.numFrames);
    dsp::ProcessContext matrixContext = context.ForChild(nullptr, 0, nullptr, 0);
    dsp::RunChild(matrix, matrixContext);
    SelectOutputs();
    return true;
}

void PatchBay::Hold() {
    if (maxBlockSize == 0) {
        return;
    }
    for (u32 signal = 0; signal < signalCount; ++signal) {
        // The last sample of a full block, also when this block is shorter.
        const float last = outputPointers[signal][maxBlockSize - 1];
        // A hold would keep a broken value for as long as it lasts.
        std::fill_n(holdPointers[signal], maxBlockSize, std::isfinite(last) ? last : 0.0F);
        outputPointers[signal] = holdPointers[signal];
    }
}

void PatchBay::ScaleSources(u32 numFrames) {
    for (u32 band = 0; band < bandCount; ++band) {
        const float gain = Value(firstGainBand + band);
        if (gain == 1.0F) {
            continue;
        }
        for (u32 lane = 0; lane < laneCount; ++lane) {
            float* source = sourcePointers[lane * bandCount + band];
            for (u32 n = 0; n < numFrames; ++n) {
                source[n] *= gain;
            }
        }
    }
}

void PatchBay::SelectOutputs() {
    if (Value(activated) <= 0.5F || !AnyDestinationRouted()) {
        std::copy(sourcePointers.begin(), sourcePointers.end(), outputPointers.begin());
        return;
    }
    for (u32 signal = 0; signal < signalCount; ++signal) {
        const float* routed = matrix.RoutedVoiceDestination(signal / bandCount, signal % bandCount);
        outputPointers[signal] = routed != nullptr ? routed : matrix.SilentChannel();
    }
}

bool PatchBay::AnyDestinationRouted() const {
    for (u32 band = 0; band < bandCount; ++band) {
        if (matrix.IsDestinationRouted(band)) {
            return true;
        }
    }
    return false;
}

} // namespace Velmora::Processor
