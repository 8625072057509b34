// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/PotardMappingUtils.h"

#include "support/CException.h"

#include <type_traits>

namespace Velmora::MappingTools {

MappingStorage MakePotardMapping(i32 id, float a, float b) {
    switch (static_cast<Curve>(id)) {
    case Curve::Raw:
    case Curve::Linear:
        return LinearPotardMapping();
    case Curve::Power:
        return PolynomialPotardMapping(a);
    case Curve::InversePower:
        return InvPolynomialPotardMapping(a);
    case Curve::Exponential:
        return ExponentialPotardMapping(a);
    case Curve::BipolarExponential:
        return BipolarExpPotardMapping(a);
    case Curve::BipolarPower:
        return BipolarPolynomialPotardMapping(a);
    case Curve::PowerAroundCentre:
        return BipolarVariableCenterInvPowPotardMapping(a, b);
    case Curve::FixedExponential:
        // A curve with constants of its own, whatever the caller's shape.
        return ExponentialPotardMapping(4.4294891F, 0.012064393F);
    case Curve::EnvelopeTime:
        return EnveloppeTimeMapping();
    case Curve::MixerTime:
        return MixerTimeMapping();
    case Curve::VuMeter:
        return VuMeterMapping();
    case Curve::Harmonic:
        return HarmonicMapping(a);
    case Curve::Reverse:
        return ReversePotardMapping();
    case Curve::PiecewiseLinear:
        return PiecewiseLinearPotardMapping(a);
    case Curve::Reciprocal:
        return InversePotardMapping(a, b);
    case Curve::SemitonesToHz:
        return SemiToneToFreqMapping(a, b);
    default:
        throw CException("Potard Mapping not found.", "PotardMappingUtils", 231);
    }
}

const IPotardMapping* ActiveMapping(const MappingStorage& storage) {
    return std::visit(
        [](const auto& held) -> const IPotardMapping* {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>) {
                return nullptr;
            } else if constexpr (std::is_pointer_v<Held>) {
                return held;
            } else {
                return &held;
            }
        },
        storage);
}

} // namespace Velmora::MappingTools
