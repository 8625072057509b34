// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/ModuleParam.h"

#include "dsp/math/Within.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmora::dsp {

ModuleParam::ModuleParam(std::string parameterName) : name(std::move(parameterName)) {
    AssignMapping(MappingTools::MakePotardMapping(Curve::Linear, 0.0F, defaultShape2));
}

ModuleParam ModuleParam::Stepped(std::string parameterName, u32 stepCount, float minimum, float stepWidth) {
    ModuleParam param(std::move(parameterName));
    param.kind = steppedKind;
    param.stepCount = static_cast<float>(stepCount);
    param.step = stepWidth;
    param.minValue = minimum;
    // The range always runs upwards; the sign of the step only tells from which end to count.
    param.maxValue = (param.stepCount - 1.0F) * std::abs(stepWidth) + minimum;
    param.value = minimum;
    return param;
}

ModuleParam ModuleParam::Mapped(std::string parameterName, Curve curve, float minimum, float maximum,
                                float shape) {
    ModuleParam param(std::move(parameterName));
    param.Redeclare(curve, minimum, maximum, shape);
    return param;
}

ModuleParam::ModuleParam(const ModuleParam& other) : name(other.name) {
    CopyScalars(other);
    AssignMapping(other.mappingStorage);
}

ModuleParam::ModuleParam(ModuleParam&& other) noexcept : name(std::move(other.name)) {
    CopyScalars(other);
    AssignMapping(other.mappingStorage);
}

ModuleParam& ModuleParam::operator=(const ModuleParam& other) {
    if (this != &other) {
        name = other.name;
        CopyScalars(other);
        AssignMapping(other.mappingStorage);
    }
    return *this;
}

ModuleParam& ModuleParam::operator=(ModuleParam&& other) noexcept {
    if (this != &other) {
        name = std::move(other.name);
        CopyScalars(other);
        AssignMapping(other.mappingStorage);
    }
    return *this;
}

void ModuleParam::CopyScalars(const ModuleParam& other) {
    rangeMin = other.rangeMin;
    rangeMax = other.rangeMax;
    std::copy(std::begin(other.reserved), std::end(other.reserved), std::begin(reserved));
    inverted = other.inverted;
    kind = other.kind;
    stepCount = other.stepCount;
    step = other.step;
    minValue = other.minValue;
    maxValue = other.maxValue;
    normalized = other.normalized;
    value = other.value;
    state = other.state;
}

void ModuleParam::AssignMapping(MappingTools::MappingStorage storage) {
    mappingStorage = std::move(storage);
    mapping = MappingTools::ActiveMapping(mappingStorage);
    mappingIsAbsolute = mapping->IsAbsolute();
}

void ModuleParam::Redeclare(Curve curve, float minimum, float maximum, float shape, float shape2,
                            bool runsBackwards) {
    AssignMapping(MappingTools::MakePotardMapping(curve, shape, shape2));
    rangeMin = curve == Curve::Raw ? 0.0F : minimum;
    rangeMax = curve == Curve::Raw ? 1.0F : maximum;
    kind = static_cast<i32>(curve);
    stepCount = 2.0F;
    step = 1.0F;
    minValue = minimum;
    maxValue = maximum;
    normalized = 0.0F;
    value = minimum;
    inverted = runsBackwards;
    state = BothValid;
}

void ModuleParam::UseSharedMapping(const MappingTools::IPotardMappingCustom& shared) {
    AssignMapping(static_cast<const MappingTools::IPotardMapping*>(&shared));
    kind = static_cast<i32>(Curve::Linear);
    rangeMin = minValue = shared.GetMin();
    rangeMax = maxValue = shared.GetMax();
    normalized = 0.0F;
    value = minValue;
    state = BothValid;
}

float ModuleParam::GetValue() {
    if (state == NormalizedNewer) {
        value = ToValue(normalized);
        state = BothValid;
    }
    return value;
}

float ModuleParam::GetNormalized() {
    if (state == ValueNewer) {
        normalized = ToNormalized(value);
        state = BothValid;
    }
    return normalized;
}

void ModuleParam::SetNormalized(float position) {
    normalized = position;
    state = NormalizedNewer;
}

void ModuleParam::SetValue(float realValue) {
    value = realValue;
    state = ValueNewer;
}

float ModuleParam::GetValueWithOffset(float offset) { return ToValue(ClampToUnit(GetNormalized() + offset)); }

float ModuleParam::GetModulatedValue(const ProcessContext& context, u32 inputIndex) {
    const float* modulation = context.ActiveModulation(inputIndex);
    return modulation != nullptr ? GetValueWithOffset(modulation[0]) : GetValue();
}

float ModuleParam::GetActingValue(const ProcessContext& context, u32 inputIndex) {
    if (!inverted) {
        return GetModulatedValue(context, inputIndex);
    }
    const float* modulation = context.ActiveModulation(inputIndex);
    const float offset = modulation != nullptr ? modulation[0] : 0.0F;
    return ToValue(1.0F - ClampToUnit(GetNormalized() + offset));
}

void ModuleParam::RenderModulated(const ProcessContext& context, u32 inputIndex, float* out) {
    const float* modulation = context.ActiveModulation(inputIndex);
    if (modulation == nullptr) {
        std::fill_n(out, context.numFrames, GetValue());
        return;
    }
    const float position = GetNormalized();
    for (u32 n = 0; n < context.numFrames; ++n) {
        out[n] = ClampToUnit(position + modulation[n]);
    }
    ConvertBlock(out, context.numFrames);
}

float ModuleParam::ToValue(float position) const {
    if (kind == rawKind) {
        return position;
    }
    if (kind == steppedKind) {
        const bool countsUp = step >= 0.0F;
        const float distance =
            std::min(std::floor(position * stepCount) * std::abs(step), maxValue - minValue);
        return countsUp ? minValue + distance : maxValue - distance;
    }
    const float shaped = mapping->Map(position);
    return mappingIsAbsolute ? shaped : shaped * (rangeMax - rangeMin) + rangeMin;
}

float ModuleParam::ToNormalized(float realValue) const {
    if (kind == rawKind) {
        return realValue;
    }
    if (kind == steppedKind) {
        const float distance = step < 0.0F ? maxValue - realValue : realValue - minValue;
        return distance / (maxValue - minValue);
    }
    float shaped = realValue;
    if (!mappingIsAbsolute) {
        const auto [low, high] = std::minmax(rangeMin, rangeMax);
        const float bounded = Within(realValue, low, high);
        shaped = rangeMin == rangeMax ? 0.0F : (bounded - rangeMin) / (rangeMax - rangeMin);
    }
    const float position = mapping->Unmap(shaped);
    return ClampToUnit(inverted ? 1.0F - position : position);
}

void ModuleParam::ConvertBlock(float* positions, u32 count) const {
    if (kind == rawKind || kind == steppedKind) {
        for (u32 n = 0; n < count; ++n) {
            positions[n] = ToValue(positions[n]);
        }
        return;
    }
    for (u32 n = 0; n < count; ++n) {
        positions[n] = ClampToUnit(inverted ? 1.0F - positions[n] : positions[n]);
    }
    mapping->MapBlock(positions, count);
    if (mappingIsAbsolute) {
        return;
    }
    const float span = rangeMax - rangeMin;
    for (u32 n = 0; n < count; ++n) {
        positions[n] = positions[n] * span + rangeMin;
    }
}

} // namespace Velmora::dsp
