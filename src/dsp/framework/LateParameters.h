// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"
#include "support/platform/Types.h"

namespace Velmora::dsp {

/// A ModuleContainer that runs past the parameters of its children, which it writes when somebody looks at
/// one, or ahead of a change.
template <class Container>
class LateParameters : public Container {
public:
    bool SetParameterNormalized(u32 id, float value) override {
        CatchUpFor(id);
        return Container::SetParameterNormalized(id, value);
    }

    bool SetParameterValue(u32 id, float value) override {
        CatchUpFor(id);
        return Container::SetParameterValue(id, value);
    }

    float GetParameterNormalized(u32 id) override {
        CatchUpFor(id);
        return Container::GetParameterNormalized(id);
    }

    ModuleParam* FindParameter(u32 id) {
        CatchUpFor(id);
        return Container::FindParameter(id);
    }

protected:
    using Container::Container;

private:
    virtual void CatchUp() = 0;

    void CatchUpFor(u32 id) {
        if (id < Container::childParameterCount) {
            CatchUp();
        }
    }
};

} // namespace Velmora::dsp
