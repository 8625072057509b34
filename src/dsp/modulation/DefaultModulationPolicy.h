// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"

#include <string_view>

namespace Velmora::dsp {

/// What a modulation matrix leaves to its use: the curve and range of an amount, and the words that its
/// parameter names are made of.
struct DefaultModulationPolicy {
    static constexpr std::string_view sourceWord = "Src";
    static constexpr std::string_view destinationWord = "Dst";
    static constexpr std::string_view amountWord = "Amount";
    static constexpr std::string_view activatedWord = "Activated";

    /// Linear from full inversion to full strength; the knob's middle is no modulation.
    static ModuleParam MakeAmount() { return ModuleParam::Mapped({}, 1, -1.0F, 1.0F, 1.0F); }
};

} // namespace Velmora::dsp
