// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"

namespace Velmora::dsp {

/// Tells whether modulated parameters have to be read: while an input modulates, and once after.
class ModulationWatch {
public:
    /// Once per block, for the inputs from first to before end.
    bool Sees(const ProcessContext& context, u32 first, u32 end) {
        const bool before = active;
        active = false;
        for (u32 input = first; input < end; ++input) {
            active = active || context.ActiveModulation(input) != nullptr;
        }
        return active || before;
    }

private:
    bool active = false;
};

} // namespace Velmora::dsp
