// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>

namespace Velmora::dsp {

/// A control that goes to each new value in a straight line over one block.
class BlockRamp {
public:
    void Set(float v) { present = v; }

    /// Writes a block that ends at v.
    void Render(float v, float* out, u32 count) {
        const double end = v;
        if (end == present || count == 0) {
            std::fill_n(out, count, static_cast<float>(present));
            return;
        }
        const double step = (end - present) / count;
        for (u32 n = 1; n < count; ++n) {
            out[n - 1] = static_cast<float>(present + step * n);
        }
        out[count - 1] = v;
        present = end;
    }

private:
    double present = 0.0;
};

} // namespace Velmora::dsp
