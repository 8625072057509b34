// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/PatchBay.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

std::vector<dsp::ModuleParam> DeclareAll() {
    using namespace dsp::Declare;
    std::vector<dsp::ModuleParam> records;
    records.reserve(PatchBay::parameterCount);
    const auto declare = [&records](const dsp::ParameterDeclaration& declaration) {
        records.push_back(declaration.Record());
    };
    for (u32 synthesis = 1; synthesis <= PatchBay::bandCount; ++synthesis) {
        for (u32 analysis = 1; analysis <= PatchBay::bandCount; ++analysis) {
            declare(Linear("Analysis" + std::to_string(analysis) + "_Synthesis" + std::to_string(synthesis),
                           -1.0F, 1.0F, 0.0F));
        }
    }
    for (u32 band = 1; band <= PatchBay::bandCount; ++band) {
        declare(Exponential("GainBand" + std::to_string(band), 0.0F, 1.0F, 3.0F));
    }
    declare(Switch("SampleHold"));
    declare(Switch("Activated"));
    return records;
}

} // namespace

// The rectifiers write every source in every block.
PatchBay::PatchBay()
    : UnitModule("PatchBay", InputCount, 0, DeclareAll()),
      matrix("Modulations", {.alwaysChanged = Matrix::allSources}) {
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
    return id == SampleHold && position > 0.5F;
}

void PatchBay::OnInitialize(float sampleRate, u32 maxBlockFrames) {
    matrix.Initialize(sampleRate, maxBlockFrames);
    maxBlockSize = maxBlockFrames;
    wasStraight = holdsPassed = false;
    holdBuffers.Allocate(signalCount, dsp::RoundUpToFour(maxBlockFrames));
    outputPointers.fill(matrix.SilentChannel());
    for (u32 signal = 0; signal < signalCount; ++signal) {
        holdPointers[signal] = holdBuffers[signal];
        sourcePointers[signal] = matrix.VoiceSource(signal / bandCount, signal % bandCount).data();
    }
}

void PatchBay::OnReset(bool hard) {
    EndStraight();
    matrix.Reset(hard);
    for (u32 signal = 0; signal < signalCount; ++signal) {
        std::fill_n(holdPointers[signal], maxBlockSize, 0.0F);
        outputPointers[signal] = holdPointers[signal];
    }
}

bool PatchBay::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (anyParameterChanged) {
        for (u32 band = 0; band < bandCount; ++band) {
            gains[band] = HeldValue(FirstGainBand + band);
        }
    }
    return true;
}

bool PatchBay::IsStraight(const dsp::ProcessContext& context) {
    return !holding && !routed && matrix.RoutedDestinations() == 0 &&
           parameters[SampleHold].GetModulatedValue(context, SampleHoldModulation) <= 0.5F;
}

/// All that can be seen of the bands later is the last sample of a full block, which a hold takes.
void PatchBay::Pass(const LaneTile& envelopes, const LaneTile& controls, u32 offset, u32 frames) {
    wasStraight = true;
    if (offset + frames != maxBlockSize) {
        return;
    }
    holdsPassed = true;
    for (u32 band = 0; band < bandCount; ++band) {
        lastPassed[band] = envelopes.samples[frames - 1][band] * gains[band];
        lastPassed[bandCount + band] = controls.samples[frames - 1][band] * gains[band];
    }
}

void PatchBay::EndStraight() {
    if (wasStraight) {
        std::copy(sourcePointers.begin(), sourcePointers.end(), outputPointers.begin());
        wasStraight = false;
    }
    if (holdsPassed) {
        for (u32 signal = 0; signal < signalCount; ++signal) {
            sourcePointers[signal][maxBlockSize - 1] = lastPassed[signal];
        }
        holdsPassed = false;
    }
}

bool PatchBay::Process(dsp::ProcessContext& context) {
    // Ahead of a hold as well: a band that is turned down is frozen turned down.
    ScaleSources(context.numFrames);
    const bool wasHolding = holding;
    holding = parameters[SampleHold].GetModulatedValue(context, SampleHoldModulation) > 0.5F;
    if (holding) {
        if (!wasHolding) {
            Hold();
        }
        return true;
    }
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
        const float gain = gains[band];
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
    routed = AnyDestinationRouted();
    if (Value(Activated) <= 0.5F || !routed) {
        std::copy(sourcePointers.begin(), sourcePointers.end(), outputPointers.begin());
        return;
    }
    for (u32 signal = 0; signal < signalCount; ++signal) {
        const float* channel = matrix.RoutedVoiceDestination(signal / bandCount, signal % bandCount);
        outputPointers[signal] = channel != nullptr ? channel : matrix.SilentChannel();
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
