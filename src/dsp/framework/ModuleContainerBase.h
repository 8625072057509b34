// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/Module.h"
#include "dsp/framework/ParameterSet.h"

#include <boost/container/small_vector.hpp>

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// What every ModuleContainer does, whatever its children: additional parameters of its own, each with a
/// list of linked ids that follow it, and the order of set-up and reset.
class ModuleContainerBase : public Module {
public:
    using LinkedIds = boost::container::small_vector<u32, 4>;

    /// Sets the real value in the parameter's own unit.
    virtual bool SetParameterValue(u32 id, float value) = 0;
    virtual void OnTerminate() {}
    /// A container may run its children at another rate and block size.
    virtual std::pair<float, u32> GetRateOverride(float sampleRate, u32 maxBlockSize);

    void ClearParameterChanges(bool value) override;

protected:
    ModuleContainerBase(std::string moduleName, u32 inputCount, u32 outputCount,
                        std::vector<ModuleParam>&& additionalRecords);

    void FinishInitialize(float sampleRate, u32 maxBlockSize);
    void FinishReset(bool hard);

    /// The additional parameters, by index behind the children's ids. An index beyond them is ignored.
    bool SetAdditionalNormalized(u32 index, float value);
    bool SetAdditionalValue(u32 index, float value);
    float GetAdditionalNormalized(u32 index);
    void WriteAdditionalName(u32 id, u32 firstId, ParameterNameWriter& writer);
    ModuleParam* FindAdditional(u32 index);

    bool AdditionalChanged(u32 index) const { return additional.parameterChanged[index] != 0; }
    float AdditionalValue(u32 index) { return additional.parameters[index].GetValue(); }

    ParameterSet additional;
    /// Per additional parameter the ids, within this container, that are set along with it. May be shorter
    /// than the list of parameters.
    std::vector<LinkedIds> linkedIds;

private:
    void SetLinked(u32 index);
};

} // namespace Velmora::dsp
