// SPDX-License-Identifier: GPL-3.0-or-later
#include "basictools/math/mapping/PotardMappingUtils.h"

#include "support/CException.h"

#include <type_traits>

namespace Velmora::MappingTools {

MappingStorage MakePotardMapping(i32 id, float a, float b) {
    switch (id) {
    case 0:
    case 1:
        return LinearPotardMapping();
    case 2:
        return PolynomialPotardMapping(a);
    case 3:
        return InvPolynomialPotardMapping(a);
    case 4:
        return ExponentialPotardMapping(a);
    case 5:
        return BipolarExpPotardMapping(a);
    case 6:
        return BipolarPolynomialPotardMapping(a);
    case 7:
        return BipolarVariableCenterInvPowPotardMapping(a, b);
    case 8:
        // A curve with constants of its own, whatever the caller's shape.
        return ExponentialPotardMapping(4.4294891F, 0.012064393F);
    case 9:
        return EnveloppeTimeMapping();
    case 10:
        return MixerTimeMapping();
    case 11:
        return VuMeterMapping();
    case 12:
        return HarmonicMapping(a);
    case 13:
        return ReversePotardMapping();
    case 14:
        return PiecewiseLinearPotardMapping(a);
    case 15:
        return InversePotardMapping(a, b);
    case 16:
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
