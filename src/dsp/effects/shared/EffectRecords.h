// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"

#include <string>
#include <utility>

/// Parameter records of an effect with the value that they start at.
namespace Velmora::dsp::EffectRecords {

inline ModuleParam StartingAt(ModuleParam param, float start) {
    param.SetValue(start);
    return param;
}

inline ModuleParam Linear(std::string name, float low, float high, float start) {
    constexpr i32 linear = 1;
    return StartingAt(ModuleParam::Mapped(std::move(name), linear, low, high, 1.0F), start);
}

/// curve: the higher, the more of the way belongs to the low values.
inline ModuleParam Exponential(std::string name, float low, float high, float curve, float start) {
    constexpr i32 exponential = 4;
    return StartingAt(ModuleParam::Mapped(std::move(name), exponential, low, high, curve), start);
}

/// 0 to count - 1.
inline ModuleParam Choice(std::string name, u32 count, float start) {
    return StartingAt(ModuleParam::Stepped(std::move(name), count, 0.0F, 1.0F), start);
}

} // namespace Velmora::dsp::EffectRecords
