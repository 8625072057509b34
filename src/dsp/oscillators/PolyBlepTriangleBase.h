// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/oscillators/PolyBlepShape.h"
#include "support/platform/Types.h"

#include <string>

namespace Velmora::dsp {

/// A triangle of variable symmetry without audible aliasing: from -1 at phase 0 up to +1 at the width, and
/// back to -1 at phase 1. Its corners are smoothed by the integrated residual.
///
/// The width is 0.001 to 0.999, from "PulseWidth" or, with "PWMOn" on, from the frame of input 5, of which
/// the fraction counts. Inputs and output as in PolyBlepShape.
template <u32 Channels>
class PolyBlepTriangleBase final : public PolyBlepShape {
    static_assert(Channels == 1, "one phase per shape");

public:
    static constexpr u32 on = 0;
    static constexpr u32 hsSlave = 1;
    static constexpr u32 hsPhase0 = 2;
    static constexpr u32 aaOn = 3;
    static constexpr u32 pulseWidth = 4;
    static constexpr u32 pwmOn = 5;
    static constexpr u32 fmOn = 6;
    static constexpr u32 parameterCount = 7;

    explicit PolyBlepTriangleBase(std::string moduleName = "PolyBlepTriangle");

    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

private:
    bool isWidthModulated = false;
    float width = 0.5F;
};

extern template class PolyBlepTriangleBase<1>;
using PolyBlepTriangle = PolyBlepTriangleBase<1>;

} // namespace Velmora::dsp
