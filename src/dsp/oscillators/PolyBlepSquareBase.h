// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/oscillators/PolyBlepShape.h"
#include "support/platform/Types.h"

#include <string>

namespace Velmora::dsp {

/// A pulse without audible aliasing: +1 while the phase is below the pulse width, else -1.
///
/// The width is 0 to 1, from "PulseWidth" or, with "PWMOn" on, from the frame of input 5.
/// Inputs and output as in PolyBlepShape.
template <u32 Channels>
class PolyBlepSquareBase final : public PolyBlepShape {
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

    explicit PolyBlepSquareBase(std::string moduleName = "PolyBlepSquare");

    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

private:
    bool isWidthModulated = false;
    float width = 0.0F;
};

extern template class PolyBlepSquareBase<1>;
using PolyBlepSquare = PolyBlepSquareBase<1>;

} // namespace Velmora::dsp
