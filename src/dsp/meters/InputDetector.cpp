// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/meters/InputDetector.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/Decibels.h"
#include "dsp/math/SilenceFloor.h"
#include "dsp/math/Within.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

/// Of a one-pole of 1 ms, per second.
constexpr float smoothingRate = 999.99994F;

std::vector<ModuleParam> Records() {
    return RecordsOf({Declare::Linear("Threshold", -120.0F, 0.0F),
                      Declare::Exponential("Hold", 0.001F, 1.0F, 1.0F), Declare::Raw("Output")});
}

} // namespace

InputDetector::InputDetector(std::string moduleName) : UnitModule(std::move(moduleName), 2, 0, Records()) {}

void InputDetector::OnInitialize(float rateHz, u32 /*maxBlockSize*/) {
    sampleRate = rateHz > 1.0F ? rateHz : 1.0F;
    coefficient = 1.0F - std::exp(-smoothingRate / sampleRate);
}

void InputDetector::OnReset(bool /*hard*/) {
    envelope = 0.0F;
    counter = 0;
    SetParameterNormalized(Output, 0.0F);
}

bool InputDetector::UpdateParameters(ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(Threshold)) {
        thresholdGain = DecibelsToGain(HeldValue(Threshold));
    }
    if (Changed(Hold)) {
        holdSamples = static_cast<u32>(sampleRate * HeldValue(Hold));
    }
    return true;
}

bool InputDetector::Process(ProcessContext& context) {
    const float* left = context.InputOrNull(0);
    const float* right = context.InputOrNull(1);
    bool isOpen = IsOpen();
    if (left != nullptr && right != nullptr) {
        isOpen = Follow(isOpen, context.numFrames,
                        [left, right](u32 n) { return (std::abs(left[n]) + std::abs(right[n])) * 0.5F; });
    } else if (const float* only = left != nullptr ? left : right; only != nullptr) {
        isOpen = Follow(isOpen, context.numFrames, [only](u32 n) { return std::abs(only[n]); });
    } else {
        isOpen = Follow(isOpen, context.numFrames, [](u32 /*n*/) { return 0.0F; });
    }
    LetRest(envelope);
    SetParameterNormalized(Output, isOpen ? 1.0F : 0.0F);
    return true;
}

/// Runs the block and returns whether the gate is then open.
template <class Level>
bool InputDetector::Follow(bool isOpen, u32 numFrames, Level levelAt) {
    float level = envelope;
    u64 contradicting = counter;
    for (u32 n = 0; n < numFrames; ++n) {
        level += (levelAt(n) - level) * coefficient;
        // On the threshold itself, the gate stays as it is.
        const bool contradicts = isOpen ? level < thresholdGain : level > thresholdGain;
        contradicting = contradicts ? contradicting + 1 : 0;
        // The next frame that agrees clears the count; so does not the turn itself.
        isOpen = isOpen != (contradicting > holdSamples);
    }
    const bool isSound = IsIntact(level);
    envelope = isSound ? level : 0.0F;
    counter = isSound ? contradicting : 0;
    return isOpen;
}

} // namespace Velmora::dsp
