// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"

#include <cmath>
#include <initializer_list>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// One parameter as its module declares it: a line of a table, or made by one of the functions of `Declare`.
/// The record made from it is the only source of name, curve, range and start value.
struct ParameterDeclaration {
    std::string name;
    Curve curve = Curve::Raw;
    float low = 0.0F;
    float high = 1.0F;
    /// The constant of the curve; a linear one has none.
    float shape = 0.0F;
    /// In the parameter's own unit.
    float start = 0.0F;
    /// Above 0: so many values in steps from `low` on; the curve plays no part.
    u32 steps = 0;
    float stepWidth = 1.0F;

    ModuleParam Record() const {
        ModuleParam record = steps != 0 ? ModuleParam::Stepped(name, steps, low, stepWidth)
                                        : ModuleParam::Mapped(name, curve, low, high, shape);
        if (start != record.GetValue()) {
            record.SetValue(start);
        }
        return record;
    }
};

/// Ways to declare a parameter. Without a start value it begins at the low end of its range.
namespace Declare {

/// The value is the position, 0 to 1 by the host's custom.
inline ParameterDeclaration Raw(std::string name, float start = 0.0F) {
    return {.name = std::move(name), .start = start};
}

inline ParameterDeclaration Linear(std::string name, float low, float high, float start) {
    return {.name = std::move(name), .curve = Curve::Linear, .low = low, .high = high, .start = start};
}
inline ParameterDeclaration Linear(std::string name, float low, float high) {
    return Linear(std::move(name), low, high, low);
}

inline ParameterDeclaration Exponential(std::string name, float low, float high, float shape, float start) {
    return {.name = std::move(name),
            .curve = Curve::Exponential,
            .low = low,
            .high = high,
            .shape = shape,
            .start = start};
}
inline ParameterDeclaration Exponential(std::string name, float low, float high, float shape) {
    return Exponential(std::move(name), low, high, shape, low);
}

/// Equal ways of the control are equal ratios; both ends are above 0.
inline ParameterDeclaration Logarithmic(std::string name, float low, float high, float start) {
    return Exponential(std::move(name), low, high, std::log(high / low), start);
}

/// `count` values from `first` on, `width` apart; a negative width counts down from the far end.
inline ParameterDeclaration Steps(std::string name, u32 count, float first, float width, float start) {
    return {.name = std::move(name), .low = first, .start = start, .steps = count, .stepWidth = width};
}

/// One of `count` things, numbered from 0.
inline ParameterDeclaration Choice(std::string name, u32 count, float start = 0.0F) {
    return Steps(std::move(name), count, 0.0F, 1.0F, start);
}

inline ParameterDeclaration Switch(std::string name, bool on = false) {
    return Choice(std::move(name), 2, on ? 1.0F : 0.0F);
}

} // namespace Declare

/// The records of a module, in the order of its ids.
inline std::vector<ModuleParam> RecordsOf(std::span<const ParameterDeclaration> declarations) {
    std::vector<ModuleParam> records;
    records.reserve(declarations.size());
    for (const ParameterDeclaration& declaration : declarations) {
        records.push_back(declaration.Record());
    }
    return records;
}
inline std::vector<ModuleParam> RecordsOf(std::initializer_list<ParameterDeclaration> declarations) {
    return RecordsOf(std::span(declarations.begin(), declarations.size()));
}

} // namespace Velmora::dsp
