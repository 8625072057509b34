// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"

#include <cmath>

/// Parameter records that begin at a value of their own, in the parameter's unit.
namespace Velmora::dsp::StartingParam {

inline ModuleParam At(ModuleParam param, float start) {
    param.SetValue(start);
    return param;
}

inline ModuleParam Linear(const char* name, float low, float high, float start) {
    return At(ModuleParam::Mapped(name, 1, low, high, 1.0F), start);
}

/// Equal ways of the control are equal ratios; both ends are above 0.
inline ModuleParam Logarithmic(const char* name, float low, float high, float start) {
    return At(ModuleParam::Mapped(name, 4, low, high, std::log(high / low)), start);
}

/// From 0 upwards, with the resolution at the low end.
inline ModuleParam FromZero(const char* name, float high, float start) {
    return At(ModuleParam::Mapped(name, 4, 0.0F, high, 3.0F), start);
}

inline ModuleParam Stepped(const char* name, u32 count, float first, float width, float start) {
    return At(ModuleParam::Stepped(name, count, first, width), start);
}

} // namespace Velmora::dsp::StartingParam
