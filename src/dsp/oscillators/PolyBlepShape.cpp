// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepShape.h"

#include "dsp/math/Within.h"

#include <array>
#include <utility>

namespace Velmora::dsp {

namespace {

/// The phase just before a reset that lies samplesSince before a frame, seen from the frame before that.
float PhaseAtReset(float previous, float increment, float samplesSince) {
    const float run = previous + increment * (1.0F - ClampToUnit(samplesSince));
    if (run > 1.0F) {
        return ClampToUnit(run - 1.0F);
    }
    return ClampToUnit(run < 0.0F ? run + 1.0F : run);
}

} // namespace

PolyBlepShape::PolyBlepShape(std::string moduleName, u32 inputCount,
                             const std::vector<std::string>& parameterNames)
    : UnitModule(std::move(moduleName), inputCount, 1, parameterNames) {}

void PolyBlepShape::OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) { ForgetReset(); }

void PolyBlepShape::OnReset(bool /*hard*/) { ForgetReset(); }

void PolyBlepShape::ForgetReset() {
    // A reset from the start phase to itself is no jump.
    lastPhase = startPhase;
    previousPhase = startPhase;
}

void PolyBlepShape::ReadFlags(const FlagIds& ids) {
    const bool wasOn = isOn;
    const bool wasSlave = isSlave;
    isOn = ReadFlag(ids.on);
    isSlave = ReadFlag(ids.hsSlave);
    isAntiAliased = ReadFlag(ids.aaOn);
    isModulated = ReadFlag(ids.fmOn);
    startPhase = ClampToUnit(Value(ids.hsPhase0));
    if (isOn != wasOn || isSlave != wasSlave) {
        ForgetReset();
    }
}

simd::Float4 PolyBlepShape::FollowResets(const float* flags, const float* samplesSince, Float4 phases,
                                         Float4 increments) {
    const bool hasReset = xsimd::any(Float4::load_unaligned(flags) != Float4(0.0F));
    std::array<float, 4> phase;
    phases.store_unaligned(phase.data());
    if (!hasReset) {
        previousPhase = phase[3];
        return Float4(lastPhase);
    }
    std::array<float, 4> increment;
    std::array<float, 4> last;
    increments.store_unaligned(increment.data());
    for (u32 k = 0; k < 4; ++k) {
        if (flags[k] != 0.0F) {
            lastPhase = PhaseAtReset(previousPhase, increment[k], samplesSince[k]);
        }
        last[k] = lastPhase;
        previousPhase = phase[k];
    }
    return Float4::load_unaligned(last.data());
}

bool PolyBlepShape::HasResetInputs(const ProcessContext& context) {
    return context.InputOrNull(2) != nullptr && context.InputOrNull(3) != nullptr &&
           context.InputOrNull(4) != nullptr;
}

} // namespace Velmora::dsp
