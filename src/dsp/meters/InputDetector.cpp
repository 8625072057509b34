// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/meters/InputDetector.h"

#include "dsp/math/Decibels.h"
#include "dsp/math/IntactState.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

constexpr i32 linear = 1;
constexpr i32 exponential = 4;
/// Of a one-pole of 1 ms, per second.
constexpr float smoothingRate = 999.99994F;
constexpr float longestHold = 1e9F;

std::vector<ModuleParam> Records() {
    std::vector<ModuleParam> records;
    records.push_back(ModuleParam::Mapped("Threshold", linear, -120.0F, 0.0F, 0.0F));
    records.push_back(ModuleParam::Mapped("Hold", exponential, 0.001F, 1.0F, 1.0F));
    records.emplace_back("Output");
    return records;
}

} // namespace

InputDetector::InputDetector(std::string moduleName) : UnitModule(std::move(moduleName), 2, 0, Records()) {}

void InputDetector::OnInitialize(float rateHz, u32 /*maxBlockSize*/) {
    sampleRate = rateHz > 1.0F ? rateHz : 1.0F;
    coefficient = 1.0F - std::exp(-smoothingRate / sampleRate);
    UpdateHold();
}

void InputDetector::OnReset(bool /*hard*/) {
    envelope = 0.0F;
    counter = 0;
    SetParameterNormalized(output, 0.0F);
}

bool InputDetector::UpdateParameters(ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(threshold) && !std::isnan(Value(threshold))) {
        thresholdGain = DecibelsToGain(Value(threshold));
    }
    if (Changed(hold)) {
        holdSeconds = Value(hold);
        UpdateHold();
    }
    return true;
}

void InputDetector::UpdateHold() {
    const float samples = sampleRate * holdSeconds;
    holdSamples = samples > 0.0F ? static_cast<u32>(std::min(samples, longestHold)) : 0;
}

bool InputDetector::Process(ProcessContext& context) {
    const float* left = context.InputOrNull(0);
    const float* right = context.InputOrNull(1);
    bool isOpen = GetParameterNormalized(output) > 0.5F;
    if (left != nullptr && right != nullptr) {
        isOpen = Follow(isOpen, context.numFrames,
                        [left, right](u32 n) { return (std::abs(left[n]) + std::abs(right[n])) * 0.5F; });
    } else if (const float* only = left != nullptr ? left : right; only != nullptr) {
        isOpen = Follow(isOpen, context.numFrames, [only](u32 n) { return std::abs(only[n]); });
    } else {
        isOpen = Follow(isOpen, context.numFrames, [](u32 /*n*/) { return 0.0F; });
    }
    SetParameterNormalized(output, isOpen ? 1.0F : 0.0F);
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
