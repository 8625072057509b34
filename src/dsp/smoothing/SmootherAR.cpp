// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/smoothing/SmootherAR.h"

#include "dsp/math/Within.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp::DynamicsTools {

namespace {

/// Far below any audible level or reduction, far above the denormal numbers.
constexpr double stateFloor = 1e-15;

/// Of both steps the right one is always the higher if attack is the faster: upwards it goes further, and
/// downwards less far. Else it is always the lower. So no branch has to be foreseen.
template <bool attackIsFaster>
double Run(float* values, u32 count, double state, double attack, double release) {
    for (u32 n = 0; n < count; ++n) {
        const double way = static_cast<double>(values[n]) - state;
        const double attacked = state + attack * way;
        const double released = state + release * way;
        state = attackIsFaster ? std::max(attacked, released) : std::min(attacked, released);
        values[n] = static_cast<float>(state);
    }
    return state;
}

} // namespace

double SmootherAR::Coefficient(float milliseconds, float sampleRate) {
    const double samples = static_cast<double>(milliseconds) * 0.001 * sampleRate;
    return samples > 0.0 ? -std::expm1(-1.0 / samples) : 1.0;
}

void SmootherAR::Follow(float* values, u32 count, double& state) const {
    const double end = attack >= release ? Run<true>(values, count, state, attack, release)
                                         : Run<false>(values, count, state, attack, release);
    state = end > stateFloor && IsIntact(end) ? end : 0.0;
}

} // namespace Velmora::dsp::DynamicsTools
