// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/equaliser/ParamEq.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/CornerAngle.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/Silence.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

/// Long enough for a knob's steps to merge, short enough to feel direct.
constexpr double smoothingSeconds = 0.02;

/// Wider than any range of the parameters; beyond, the filters would break.
constexpr float lowestFrequency = 1e-6F;
constexpr float lowestQ = 0.01F;
constexpr float highestQ = 1000.0F;
constexpr float largestDecibels = 60.0F;

template <u32 bandCount>
std::vector<ModuleParam> Records() {
    using namespace Declare;
    std::vector<ModuleParam> records =
        RecordsOf({Switch("Stereo", true), Raw("Scale", 1.0F), Raw("SmoothOn")});
    for (ParameterDeclaration declaration :
         {Switch("On"), Choice("Mode", ParamEqShape::ModeCount), Linear("Gain", -20.0F, 20.0F),
          Linear("Cutoff", 20.0F, 20000.0F), Linear("Q", 0.1F, 20.0F)}) {
        const std::string stem = declaration.name;
        for (u32 band = 1; band <= bandCount; ++band) {
            declaration.name = stem + std::to_string(band);
            records.push_back(declaration.Record());
        }
    }
    return records;
}

i32 ModeOf(float value) { return static_cast<i32>(ToIndex(value, ParamEqShape::ModeCount)); }

/// Shelves and bells apply the gain twice.
float GainOf(float decibels, i32 mode) {
    const float bounded = Within(decibels, -largestDecibels, largestDecibels);
    return std::pow(10.0F, bounded * (mode >= ParamEqShape::LowShelf ? 0.025F : 0.05F));
}

float InverseQOf(float q) { return 1.0F / Within(q, lowestQ, highestQ); }

} // namespace

template <u32 bandCount>
ParamEq<bandCount>::ParamEq(std::string moduleName)
    : UnitModule(std::move(moduleName), inputCount, 2, Records<bandCount>()) {
    for (Setting& setting : settings) {
        setting.gain.time = setting.frequency.time = setting.inverseQ.time = smoothingSeconds;
    }
}

template <u32 bandCount>
void ParamEq<bandCount>::OnInitialize(float rateHz, u32 maxBlockSize) {
    sampleRate = Within(rateHz, 1.0F, 1e7F);
    inverseSampleRate = 1.0F / sampleRate;
    silence.assign(RoundUpToFour(maxBlockSize), 0.0F);
    for (ParamEqBand& band : bands) {
        band.Allocate(maxBlockSize);
    }
    PrepareSmoothers(std::max(1U, maxBlockSize));
}

template <u32 bandCount>
void ParamEq<bandCount>::OnReset(bool /*hard*/) {
    JumpAll();
    smoothersJump = true;
}

template <u32 bandCount>
void ParamEq<bandCount>::JumpAll() {
    for (ParamEqBand& band : bands) {
        band.Clear();
        band.Arrive();
    }
}

template <u32 bandCount>
bool ParamEq<bandCount>::UpdateParameters(ProcessContext& context) {
    if (Changed(Stereo)) {
        isStereo = Value(Stereo) > 0.5F;
        JumpAll();
    }
    if (Changed(SmoothOn)) {
        isSmoothing = Value(SmoothOn) > 0.5F;
        smoothersJump = true;
    }
    if (isSmoothing && context.numFrames != smootherTick && context.numFrames != 0) {
        PrepareSmoothers(context.numFrames);
    }
    const bool scaleChanged = UpdateScale(context);
    for (u32 band = 0; band < bandCount; ++band) {
        UpdateBand(band, context, scaleChanged);
    }
    smoothersJump = smoothersJump && context.numFrames == 0;
    return true;
}

/// One tick is a block: the time holds for blocks of any length.
template <u32 bandCount>
void ParamEq<bandCount>::PrepareSmoothers(u32 samplesPerTick) {
    smootherTick = samplesPerTick;
    for (Setting& setting : settings) {
        for (SmootherLPF* smoother : {&setting.gain, &setting.frequency, &setting.inverseQ}) {
            smoother->Prepare(sampleRate, samplesPerTick);
        }
    }
}

template <u32 bandCount>
bool ParamEq<bandCount>::UpdateScale(const ProcessContext& context) {
    const float newScale = parameters[Scale].GetModulatedValue(context, scaleInput);
    const bool differs = newScale != scale;
    scale = newScale;
    return differs;
}

template <u32 bandCount>
void ParamEq<bandCount>::UpdateBand(u32 band, const ProcessContext& context, bool scaleChanged) {
    Setting& setting = settings[band];
    ParamEqShape& shape = setting.shape;
    if (Changed(OnId(band))) {
        setting.isOn = Value(OnId(band)) > 0.5F;
        bands[band].Clear();
        bands[band].Arrive();
    }
    if (Changed(ModeId(band))) {
        shape.mode = ModeOf(Value(ModeId(band)));
    }
    if (scaleChanged || Changed(GainId(band)) || Changed(ModeId(band))) {
        shape.gain = GainOf(scale * Value(GainId(band)), shape.mode);
    }
    if (Changed(QId(band))) {
        shape.inverseQ = InverseQOf(Value(QId(band)));
    }
    const float cutoff = parameters[CutoffId(band)].GetModulatedValue(context, CutoffInput(band));
    shape.frequency = Within(cutoff * inverseSampleRate, lowestFrequency, highestCornerShare<float>);
    if (context.numFrames == 0) {
        return;
    }
    // A band that is off still glides, and is where it would be when it comes on.
    const ParamEqShape present = isSmoothing ? Smoothed(setting) : shape;
    if (setting.isOn) {
        bands[band].Update(present, context.numFrames);
    }
}

template <u32 bandCount>
ParamEqShape ParamEq<bandCount>::Smoothed(Setting& setting) {
    const auto next = [this](SmootherLPF& smoother, float target) {
        if (smoothersJump) {
            smoother.Set(target);
        }
        smoother.SetTarget(target);
        return smoother.Next();
    };
    const ParamEqShape& shape = setting.shape;
    return {shape.mode, next(setting.gain, shape.gain), next(setting.frequency, shape.frequency),
            next(setting.inverseQ, shape.inverseQ)};
}

template <u32 bandCount>
bool ParamEq<bandCount>::Process(ProcessContext& context) {
    const auto inputOf = [&](u32 channel) {
        const float* input = context.InputOrNull(channel);
        return input != nullptr ? input : silence.data();
    };
    if (context.numFrames == 0 || context.numOutputs == 0) {
        return true;
    }
    const bool isSilent = IsSilent(inputOf(0), context.numFrames);
    if (isStereo && context.numOutputs > 1) {
        Render(PairInput{inputOf(0), inputOf(1)}, PairOutput{context.outputs[0], context.outputs[1]},
               context.numFrames, isSilent && IsSilent(inputOf(1), context.numFrames));
    } else {
        if (context.numOutputs > 1 && context.outputs[1] != inputOf(1)) {
            std::copy_n(inputOf(1), context.numFrames, context.outputs[1]);
        }
        Render(SoloInput{inputOf(0)}, SoloOutput{context.outputs[0]}, context.numFrames, isSilent);
    }
    return true;
}

/// All bands take four frames before any takes the next four: while one band waits for its own last result,
/// the processor works on another. A quad of silence that leaves all bands as they were will do so again,
/// with the same output.
template <u32 bandCount>
template <class Input, class Output>
void ParamEq<bandCount>::Render(Input input, Output output, u32 numFrames, bool isSilent) {
    using Pass = ParamEqBand::Pass<typename Input::Number>;
    std::array<Pass, bandCount> passes;
    u32 passCount = 0;
    for (u32 band = 0; band < bandCount; ++band) {
        if (settings[band].isOn) {
            passes[passCount++] = Pass(bands[band]);
        }
    }
    const std::span used(passes.data(), passCount);
    bool rests =
        isSilent && std::none_of(used.begin(), used.end(), [](const Pass& pass) { return pass.IsMoving(); });
    auto quad = input.Load(0);
    for (u32 n = 0; n < numFrames; n += 4) {
        if (n == 0 || !rests) {
            quad = input.Load(n);
            for (Pass& pass : used) {
                pass.Run(quad, n);
            }
            rests = rests && std::all_of(used.begin(), used.end(),
                                         [](const Pass& pass) { return pass.IsWhereItBegan(); });
        }
        output.Store(n, quad);
    }
    for (Pass& pass : used) {
        pass.Finish();
    }
}

template class ParamEq<5>;

} // namespace Velmora::dsp
