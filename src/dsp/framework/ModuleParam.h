// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/PotardMappingUtils.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/math/Within.h"
#include "support/platform/Types.h"

#include <string>
#include <utility>

namespace Velmora::dsp {

using MappingTools::Curve;

/// One parameter of a module: its name, curve, range and present value. The record that a module's
/// constructor declares is the only source of these; nothing outside the tree knows them.
///
/// The control position ("normalized", nominally 0 to 1) and the real value are converted lazily: `state`
/// tells which of the two is newer. Nothing is clamped when stored.
class ModuleParam {
public:
    static constexpr i32 rawKind = 0;
    static constexpr i32 steppedKind = 18;
    /// The second constant of a curve that is declared without one.
    static constexpr float defaultShape2 = 0.5F;

    enum State : i32 { BothValid = 0, NormalizedNewer = 1, ValueNewer = 2 };

    /// A raw parameter: the value is the normalized value.
    explicit ModuleParam(std::string parameterName = {});

    /// stepCount values from minimum in steps of stepWidth; a negative width counts down from the maximum.
    static ModuleParam Stepped(std::string parameterName, u32 stepCount, float minimum, float stepWidth);

    /// A curve over a real range. Throws what MakePotardMapping throws.
    static ModuleParam Mapped(std::string parameterName, Curve curve, float minimum, float maximum,
                              float shape);

    ModuleParam(const ModuleParam& other);
    ModuleParam(ModuleParam&& other) noexcept;
    ModuleParam& operator=(const ModuleParam& other);
    ModuleParam& operator=(ModuleParam&& other) noexcept;
    ~ModuleParam() = default;

    /// Declares this parameter anew; the name stays, the position becomes 0 and the value the new minimum.
    void Redeclare(Curve curve, float minimum, float maximum, float shape, float shape2 = defaultShape2,
                   bool runsBackwards = false);

    /// Uses a mapping that is shared and outlives this record; its own range becomes this one's.
    void UseSharedMapping(const MappingTools::IPotardMappingCustom& shared);

    float GetValue();
    float GetNormalized();

    /// As GetValue and GetNormalized, without storing the conversion.
    float PeekValue() const { return state == NormalizedNewer ? ToValue(normalized) : value; }
    float PeekNormalized() const { return state == ValueNewer ? ToNormalized(value) : normalized; }

    void SetNormalized(float position);
    void SetValue(float realValue);

    /// The real value at the position moved by offset, clamped to 0..1. Nothing is stored. An offset that
    /// is not a number counts as position 0.
    float GetValueWithOffset(float offset);

    /// GetValueWithOffset of the first sample of a modulation input when that is active, else GetValue.
    float GetModulatedValue(const ProcessContext& context, u32 inputIndex);

    /// As GetModulatedValue, in a module that lets `inverted` act: a control that runs backwards is turned
    /// round first.
    float GetActingValue(const ProcessContext& context, u32 inputIndex);

    /// Fills out[0..numFrames) with the real value, modulated per sample when the input is active.
    void RenderModulated(const ProcessContext& context, u32 inputIndex, float* out);

    /// A value within the declared range; what is not a number becomes the low end.
    float Hold(float realValue) const { return Within(realValue, minValue, maxValue); }

    /// The plain conversions. `inverted` acts on ToNormalized and on the block form, not on ToValue.
    float ToValue(float position) const;
    float ToNormalized(float realValue) const;

    const MappingTools::IPotardMapping* mapping = nullptr;
    MappingTools::MappingStorage mappingStorage;
    float rangeMin = 0.0F;
    float rangeMax = 1.0F;
    i32 reserved[2] = {-1, -1};
    bool mappingIsAbsolute = false;
    bool inverted = false;
    std::string name;
    /// rawKind, steppedKind, or the number of the curve.
    i32 kind = rawKind;
    float stepCount = 2.0F;
    float step = 1.0F;
    float minValue = 0.0F;
    float maxValue = 1.0F;
    float normalized = 0.0F;
    float value = 0.0F;
    i32 state = BothValid;

private:
    void AssignMapping(MappingTools::MappingStorage storage);
    void CopyScalars(const ModuleParam& other);
    void ConvertBlock(float* positions, u32 count) const;
};

} // namespace Velmora::dsp
