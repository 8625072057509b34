// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/oscillators/PolyBlepShape.h"
#include "support/platform/Types.h"

#include <string>

namespace Velmora::dsp {

/// A rising sawtooth without audible aliasing: 2 p - 1, its jump smoothed by the step residual.
/// Inputs and output as in PolyBlepShape.
template <u32 Channels>
class PolyBlepSawBase final : public PolyBlepShape {
    static_assert(Channels == 1, "one phase per shape");

public:
    static constexpr u32 on = 0;
    static constexpr u32 hsSlave = 1;
    static constexpr u32 hsPhase0 = 2;
    static constexpr u32 aaOn = 3;
    static constexpr u32 fmOn = 4;
    static constexpr u32 parameterCount = 5;

    explicit PolyBlepSawBase(std::string moduleName = "PolyBlepSaw");

    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;
};

extern template class PolyBlepSawBase<1>;
using PolyBlepSaw = PolyBlepSawBase<1>;

} // namespace Velmora::dsp
