// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/IModuleObserver.h"

namespace Velmora::dsp {

/// A module M that tells observers of every accepted parameter write, in list order.
template <class M>
class Observable : public M {
public:
    using M::M;

    void Attach(IModuleObserver& observer) { observers.Attach(observer); }

    bool SetParameterNormalized(u32 id, float value) override {
        const bool accepted = M::SetParameterNormalized(id, value);
        if (accepted) {
            observers.Notify(id, value);
        }
        return accepted;
    }

    bool SetParameterValue(u32 id, float value) override {
        const bool accepted = M::SetParameterValue(id, value);
        if (accepted) {
            observers.Notify(id, M::GetParameterNormalized(id));
        }
        return accepted;
    }

private:
    ObserverList observers;
};

} // namespace Velmora::dsp
