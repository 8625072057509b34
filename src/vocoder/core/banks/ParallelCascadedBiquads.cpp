// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/ParallelCascadedBiquads.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/CornerAngle.h"
#include "dsp/math/SilenceFloor.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace Velmora::Processor {

namespace {

using Biquads = ParallelCascadedBiquads;

constexpr float twoPi = 6.2831855F;

/// -600 dB.
constexpr float nothing = 1e-30F;

bool Sounds(float state) { return std::abs(state) >= nothing; }

/// Whether the output of a stage is next to nothing, but not 0.
bool AnyFades(const BiquadLanes& lanes) {
    using dsp::simd::Float4;
    auto fades = Float4(0.0F) != Float4(0.0F);
    for (u32 stage = 1; stage <= stageCount; ++stage) {
        for (u32 lane = 0; lane < bandCount; lane += Float4::size) {
            const Float4 output = Float4::load_unaligned(&lanes.past1[stage][lane]);
            fades = fades || (xsimd::abs(output) < Float4(nothing) && output != Float4(0.0F));
        }
    }
    return xsimd::any(fades);
}

dsp::ParameterDeclaration DeclareOne(u32 parameter, const std::string& prefix) {
    switch (parameter) {
    case Biquads::Type:
        return dsp::Declare::Choice(prefix + "_Type", 2);
    case Biquads::Frequency:
        return dsp::Declare::Linear(prefix + "_Fc", 1.0F, 24000.0F);
    case Biquads::Quality:
        return dsp::Declare::Linear(prefix + "_Q", 0.0F, 50.0F);
    default:
        return dsp::Declare::Linear(prefix + "_H", -10.0F, 10.0F);
    }
}

std::vector<dsp::ModuleParam> DeclareAll() {
    std::vector<dsp::ModuleParam> records;
    records.reserve(Biquads::parameterCount);
    for (u32 parameter = 0; parameter < Biquads::ParametersPerStage; ++parameter) {
        for (u32 channel = 1; channel <= bandCount; ++channel) {
            for (u32 stage = 1; stage <= stageCount; ++stage) {
                records.push_back(DeclareOne(parameter, "Biquad_Channel" + std::to_string(channel) +
                                                            "_Stage" + std::to_string(stage))
                                      .Record());
            }
        }
    }
    return records;
}

} // namespace

Biquads::ParallelCascadedBiquads(std::string moduleName)
    : UnitModule(std::move(moduleName), bandCount, bandCount, DeclareAll()) {}

void Biquads::SetBothStages(Parameter parameter, u32 channel, float value) {
    SetParameterValue(ParameterId(parameter, channel, 1), value);
    SetParameterValue(ParameterId(parameter, channel, 2), value);
}

void Biquads::OnInitialize(float newSampleRate, u32 /*maxBlockSize*/) { sampleRate = newSampleRate; }

void Biquads::OnReset(bool /*hard*/) {
    for (u32 lane = 0; lane < bandCount; ++lane) {
        ClearInput(lane);
        ClearStages(lane);
    }
}

void Biquads::ClearInput(u32 lane) { lanes.past1[0][lane] = lanes.past2[0][lane] = 0.0F; }

void Biquads::ClearStages(u32 lane) {
    for (u32 stage = 0; stage < stageCount; ++stage) {
        lanes.past1[stage + 1][lane] = lanes.past2[stage + 1][lane] = lanes.step[stage][lane] = 0.0F;
    }
}

bool Biquads::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    for (u32 channel = 1; channel <= bandCount; ++channel) {
        for (u32 stage = 1; stage <= stageCount; ++stage) {
            if (Changed(ParameterId(Type, channel, stage)) ||
                Changed(ParameterId(Frequency, channel, stage)) ||
                Changed(ParameterId(Quality, channel, stage)) || Changed(ParameterId(Gain, channel, stage))) {
                UpdateStage(channel, stage);
            }
        }
    }
    typesFitPlan = TypesFitPlan();
    return true;
}

bool Biquads::TypesFitPlan() {
    bool fit = true;
    for (u32 channel = 1; channel <= bandCount; ++channel) {
        const FilterType type = channel == 1 ? LowPass : BandPass;
        for (u32 stage = 1; stage <= stageCount; ++stage) {
            fit = fit && Value(ParameterId(Type, channel, stage)) == static_cast<float>(type);
        }
    }
    return fit;
}

void Biquads::Follow(const BandTuning& tuning) {
    for (u32 s = 0; s < stageCount; ++s) {
        for (u32 lane = 0; lane < bandCount; ++lane) {
            const FeedForward f{tuning.b0[s][lane], tuning.b1[s][lane], tuning.b2[s][lane]};
            feedForward[s][lane] = f;
            lanes.b0[s][lane] = static_cast<float>(f.b0 * gains[s][lane]);
            lanes.b1[s][lane] = static_cast<float>(f.b1 * gains[s][lane]);
            lanes.b2[s][lane] = static_cast<float>(f.b2 * gains[s][lane]);
            SetPull(s, lane, tuning.pull[s][lane]);
            lanes.carry[s][lane] = tuning.carry[s][lane];
        }
    }
}

void Biquads::UpdateStage(u32 channel, u32 stage) {
    const float type = Value(ParameterId(Type, channel, stage));
    if (type == static_cast<float>(LowPass) || type == static_cast<float>(BandPass)) {
        TuneStage(channel, stage, type == static_cast<float>(LowPass));
    }
    const u32 s = stage - 1;
    const u32 lane = channel - 1;
    const double gain = HeldValue(ParameterId(Gain, channel, stage));
    gains[s][lane] = gain;
    lanes.b0[s][lane] = static_cast<float>(feedForward[s][lane].b0 * gain);
    lanes.b1[s][lane] = static_cast<float>(feedForward[s][lane].b1 * gain);
    lanes.b2[s][lane] = static_cast<float>(feedForward[s][lane].b2 * gain);
}

void Biquads::TuneStage(u32 channel, u32 stage, bool isLowPass) {
    const double hz = dsp::LimitCorner(HeldValue(ParameterId(Frequency, channel, stage)), sampleRate);
    const double q = HeldValue(ParameterId(Quality, channel, stage));
    const double w = static_cast<double>(twoPi) * hz / sampleRate;
    const double halfSine = std::sin(0.5 * w);
    const double oneMinusCosine = 2.0 * halfSine * halfSine;
    const double alpha = 2.0 * halfSine * std::cos(0.5 * w) * (0.5 / q);
    if (!std::isfinite(alpha)) {
        return;
    }
    const double n = 1.0 / (1.0 + alpha);
    const u32 s = stage - 1;
    const u32 lane = channel - 1;
    if (isLowPass) {
        feedForward[s][lane] = {oneMinusCosine * 0.5 * n, oneMinusCosine * n, oneMinusCosine * 0.5 * n};
    } else {
        feedForward[s][lane] = {alpha * n, 0.0, -alpha * n};
    }
    // With a1 = -2 cos(w) n and a2 = (1 - alpha) n; written so that nothing cancels.
    SetPull(s, lane, static_cast<float>(2.0 * oneMinusCosine * n));
    lanes.carry[s][lane] = static_cast<float>(2.0 * (1.0 - oneMinusCosine) * n - 1.0);
}

/// The root of the pull goes with the corner. The last step of a high tone is that of a huge low one: when a
/// corner falls by more than an octave at once, it shrinks along.
void Biquads::SetPull(u32 s, u32 lane, float pull) {
    if (pull < 0.25F * lanes.pull[s][lane]) {
        lanes.step[s][lane] *= std::sqrt(pull / lanes.pull[s][lane]);
        lanes.past2[s + 1][lane] = lanes.past1[s + 1][lane] - lanes.step[s][lane];
    }
    lanes.pull[s][lane] = pull;
}

bool Biquads::Process(dsp::ProcessContext& context) {
    LaneTile tile;
    for (u32 offset = 0; offset < context.numFrames; offset += LaneTile::maxFrames) {
        const u32 frames = std::min(LaneTile::maxFrames, context.numFrames - offset);
        FilterTile(context.inputs[0] + offset, frames, tile);
        kernels->scatterBands(tile, frames, context.outputs, offset);
    }
    HealLanes();
    return true;
}

void Biquads::FilterTile(const float* input, u32 frames, LaneTile& tile) {
    kernels->runBankOnOneInput(lanes, input, tile.Data(), frames);
}

void Biquads::SumTile(const float* const* inputs, u32 offset, u32 frames, float* output) {
    LaneTile tile;
    kernels->gatherBands(inputs, offset, frames, tile);
    kernels->runBank(lanes, tile.Data(), frames);
    kernels->sumBands(tile, frames, output + offset);
}

void Biquads::FinishBlock() {
    HealLanes();
    needsUpdate = false;
    ClearParameterChanges(false);
}

bool Biquads::IsSilent() const {
    bool sounds = false;
    for (u32 lane = 0; lane < bandCount; ++lane) {
        for (u32 row = 0; row <= stageCount; ++row) {
            sounds |= lanes.past1[row][lane] != 0.0F || lanes.past2[row][lane] != 0.0F;
        }
        for (u32 stage = 0; stage < stageCount; ++stage) {
            sounds |= lanes.step[stage][lane] != 0.0F;
        }
    }
    return !sounds;
}

void Biquads::HealLanes() {
    // Whatever is wrong with a lane's history has reached the outputs of its stages by the end of a block;
    // not-a-number fails the comparison too.
    const auto isBroken = [](float state) {
        return std::abs(state) <= static_cast<float>(dsp::largestIntactState) ? 0U : 1U;
    };
    u32 broken[bandCount] = {};
    for (u32 stage = 1; stage <= stageCount; ++stage) {
        for (u32 lane = 0; lane < bandCount; ++lane) {
            broken[lane] |= isBroken(lanes.past1[stage][lane]);
            dsp::LetRest(lanes.past1[stage][lane], lanes.past2[stage][lane], lanes.step[stage - 1][lane]);
        }
    }
    if (AnyFades(lanes)) {
        EndDecays();
    }
    for (u32 lane = 0; lane < bandCount; ++lane) {
        if (broken[lane] == 0) {
            continue;
        }
        ClearStages(lane);
        // An input that is sound goes on, as it may be that of all lanes.
        if ((isBroken(lanes.past1[0][lane]) | isBroken(lanes.past2[0][lane])) != 0) {
            ClearInput(lane);
        }
    }
}

/// Clears the lanes of which nothing sounds. Left alone, their states would stop short of zero, where steps
/// underflow.
void Biquads::EndDecays() {
    for (u32 lane = 0; lane < bandCount; ++lane) {
        bool sounds = false;
        for (u32 stage = 0; stage < stageCount; ++stage) {
            sounds = sounds || Sounds(lanes.past1[stage + 1][lane]) || Sounds(lanes.past2[stage + 1][lane]) ||
                     Sounds(lanes.step[stage][lane]);
        }
        if (!sounds) {
            ClearStages(lane);
        }
    }
}

} // namespace Velmora::Processor
