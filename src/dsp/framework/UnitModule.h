// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/Module.h"
#include "dsp/framework/ParameterSet.h"

#include <string>
#include <vector>

namespace Velmora::dsp {

/// A leaf module that owns parameter records with change flags. Ids are not checked: the containers above
/// keep them in range. A derived class states its number of parameters as `parameterCount`.
class UnitModule : public Module, protected ParameterSet {
public:
    /// Raw parameters with the given names.
    UnitModule(std::string moduleName, u32 inputCount, u32 outputCount,
               const std::vector<std::string>& parameterNames);
    /// Complete records.
    UnitModule(std::string moduleName, u32 inputCount, u32 outputCount, std::vector<ModuleParam>&& records);
    /// Raw records for modules that fill them in themselves; 3 inputs and 2 outputs.
    explicit UnitModule(u32 recordCount);

    void Initialize(float sampleRate, u32 maxBlockSize) override;
    void Reset(bool hard) override;
    bool SetParameterNormalized(u32 id, float value) override;
    float GetParameterNormalized(u32 id) override;
    void GetParameterName(u32 id, ParameterNameWriter& writer) override;
    void ClearParameterChanges(bool value) override;

    /// Sets the real value in the parameter's own unit.
    virtual bool SetParameterValue(u32 id, float value);

    /// The record behind an id, for readers that want range, curve and value.
    ModuleParam* FindParameter(u32 id) { return id < parameters.size() ? &parameters[id] : nullptr; }

protected:
    bool Changed(u32 id) const { return parameterChanged[id] != 0; }
    float Value(u32 id) { return parameters[id].GetValue(); }
    /// Within the declared range; what is not a number becomes the low end.
    float HeldValue(u32 id) { return parameters[id].Hold(Value(id)); }
    /// As moved by the first sample of a modulation input, if that is active.
    float HeldValue(u32 id, const ProcessContext& context, u32 inputIndex) {
        return parameters[id].Hold(parameters[id].GetModulatedValue(context, inputIndex));
    }
};

} // namespace Velmora::dsp
