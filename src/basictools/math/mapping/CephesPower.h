// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "basictools/math/mapping/CephesExpLog.h"
#include "support/platform/Standard.h"
#include "support/platform/Types.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmora::MappingTools {

/// Powers with a fixed exponent by CephesExp and CephesLog, for whole blocks. As with std::pow, a base of 0
/// is met exactly, and a finite negative one gives NaN only for an exponent that is not whole.
class CephesPower {
public:
    explicit CephesPower(float powerExponent)
        : exponent(powerExponent), atZero(std::pow(0.0F, powerExponent)),
          negativeBits(BitsOfNegativeBase(powerExponent)) {}

    /// Replaces each value x by fromPower(x, p), where p is the power of toBase(x). Both are to be free of
    /// branches.
    template <typename ToBase, typename FromPower>
    void MapBlock(float* values, u32 count, ToBase toBase, FromPower fromPower) const {
        for (u32 start = 0; start < count; start += chunkSize) {
            MapChunk(values + start, std::min(chunkSize, count - start), toBase, fromPower);
        }
    }

private:
    static constexpr u32 chunkSize = 64;

    // The bits that a negative base adds to the power of its magnitude: none, the sign, or those of a NaN.
    static i32 BitsOfNegativeBase(float powerExponent) {
        if (std::trunc(powerExponent) != powerExponent) {
            return BitCast<i32>(std::numeric_limits<float>::quiet_NaN());
        }
        return std::fmod(powerExponent, 2.0F) == 0.0F ? 0 : std::numeric_limits<i32>::min();
    }

    // Two short loops run clearly faster than one long one, which has more values alive than there are
    // registers.
    template <typename ToBase, typename FromPower>
    void MapChunk(float* values, u32 count, ToBase toBase, FromPower fromPower) const {
        const CephesPower local = *this;
        float bases[chunkSize];
        float logs[chunkSize];
        for (u32 i = 0; i < count; ++i) {
            bases[i] = toBase(values[i]);
            logs[i] = local.exponent * CephesLog(std::abs(bases[i]));
        }
        for (u32 i = 0; i < count; ++i) {
            values[i] = fromPower(values[i], local.WithSign(bases[i], CephesExp(logs[i])));
        }
    }

    float WithSign(float base, float power) const {
        const auto bits = BitCast<i32>(base);
        const i32 isNegative = bits >> 31;
        const i32 isZero = ((bits & 0x7FFFFFFF) - 1) >> 31;
        const auto withSign = BitCast<float>(BitCast<i32>(power) | (isNegative & negativeBits));
        return SelectByMask(isZero, atZero, withSign);
    }

    float exponent;
    float atZero;
    i32 negativeBits;
};

} // namespace Velmora::MappingTools
