// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/ExponentialMappings.h"
#include "basictools/math/mapping/LinearMappings.h"
#include "basictools/math/mapping/PointMappings.h"
#include "basictools/math/mapping/PowerMappings.h"
#include "basictools/math/mapping/RatioMappings.h"
#include "support/platform/Types.h"

#include <variant>

namespace Velmora::MappingTools {

/// One mapping by value, or (tag 16) a pointer to a shared one that is owned elsewhere. The order is the
/// numbering of the tags: index() is the tag, 0 is empty.
using MappingStorage =
    std::variant<std::monostate, LinearPotardMapping, ReversePotardMapping, PolynomialPotardMapping,
                 InvPolynomialPotardMapping, ExponentialPotardMapping, BipolarExpPotardMapping,
                 BipolarPolynomialPotardMapping, BipolarVariableCenterInvPowPotardMapping,
                 EnveloppeTimeMapping, MixerTimeMapping, VuMeterMapping, HarmonicMapping,
                 PiecewiseLinearPotardMapping, InversePotardMapping, SemiToneToFreqMapping,
                 const IPotardMapping*>;

/// How the way of a control, 0 to 1, is spread over its range; the numbers are the ids of the mappings. Most
/// take a shape `a`, one a second `b`.
enum class Curve : i32 {
    Raw = 0,                ///< a parameter's value is its position; as a mapping, linear
    Linear = 1,             ///< equal ways, equal steps
    Power = 2,              ///< x to the a: above 1 the low values have more of the way
    InversePower = 3,       ///< the same from the other end
    Exponential = 4,        ///< the higher a, the more of the way belongs to the low values
    BipolarExponential = 5, ///< exponential from the middle to both ends
    BipolarPower = 6,       ///< a power from the middle to both ends
    PowerAroundCentre = 7,  ///< a power from a centre b to both ends
    FixedExponential = 8,   ///< exponential with a shape of its own
    EnvelopeTime = 9,       ///< a table for times of envelopes
    MixerTime = 10,         ///< a table for times of mixers
    VuMeter = 11,           ///< the scale of a meter; one way, from value to position
    Harmonic = 12,          ///< ratios 1/a to a, 1 in the middle; gives final values
    Reverse = 13,           ///< linear, downwards
    PiecewiseLinear = 14,   ///< three quarters of the way up to a, the last one to the end
    Reciprocal = 15,        ///< linear in 1/value, for a range from a to b
    SemitonesToHz = 16,     ///< b - 1 semitones up from a in Hz; gives final values
};

/// Builds the mapping of a curve, with up to two constants whose meaning the class tells.
/// Throws CException for an id that names none, and what the constructor of the class throws.
MappingStorage MakePotardMapping(i32 id, float a, float b);
inline MappingStorage MakePotardMapping(Curve curve, float a, float b) {
    return MakePotardMapping(static_cast<i32>(curve), a, b);
}

/// The embedded mapping, valid as long as the storage is neither moved nor assigned, or the shared one.
/// Null when the storage is empty.
const IPotardMapping* ActiveMapping(const MappingStorage& storage);

} // namespace Velmora::MappingTools
