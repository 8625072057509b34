// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/MappingModel.h"

#include <algorithm>
#include <cmath>

namespace orphia_reference {

double KnobLaw::ToReal(double position) const {
    const double shaped = bend == 0.0 ? position : std::expm1(bend * position) / std::expm1(bend);
    return minimum + shaped * (maximum - minimum);
}

double KnobLaw::ToPosition(double real) const {
    const double shaped = (std::clamp(real, minimum, maximum) - minimum) / (maximum - minimum);
    return bend == 0.0 ? shaped : std::clamp(std::log1p(shaped * std::expm1(bend)) / bend, 0.0, 1.0);
}

double KnobLaw::Offset(double real, double offset) const {
    return ToReal(std::clamp(ToPosition(real) + offset, 0.0, 1.0));
}

} // namespace orphia_reference
