// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>

/// What not every system's standard library has.
namespace Velmora {

/// The number of another type that has the same bits.
template <class To, class From>
constexpr To BitCast(const From& from) {
    return __builtin_bit_cast(To, from);
}

namespace Platform {

/// The modified Bessel function of order 0, by its series; relatively exact to 5e-15 for |x| below 30.
inline double SeriesOfBesselI0(double x) {
    const double quarterSquare = 0.25 * x * x;
    double sum = 1.0;
    double term = 1.0;
    for (double k = 1.0; term > 1e-17 * sum; k += 1.0) {
        term *= quarterSquare / (k * k);
        sum += term;
    }
    return sum;
}

inline double BesselI0(double x) {
#ifdef __cpp_lib_math_special_functions
    return std::cyl_bessel_i(0.0, x);
#else
    return SeriesOfBesselI0(x);
#endif
}

} // namespace Platform

} // namespace Velmora
