// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepTriangleBase.h"

#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;

/// Straight up from the wrap to the width, straight down from there to the next wrap.
struct TriangleWave {
    Float4 width;
    /// Per cycle.
    Float4 up;
    Float4 down;
    Float4 offset;
    /// Half the change of slope at the wrap; the width has the opposite one.
    Float4 bend;

    explicit TriangleWave(Float4 w) : width(w) {
        const Float4 one(1.0F);
        const Float4 inverse = one / w;
        const Float4 inverseRest = one / (one - w);
        up = Float4(2.0F) * inverse;
        down = Float4(-2.0F) * inverseRest;
        offset = (w + one) * inverseRest;
        bend = inverse * inverseRest;
    }

    Float4 Value(Float4 phase) const {
        return xsimd::select(phase < width, phase * up - Float4(1.0F), phase * down + offset);
    }

    Float4 Correction(Float4 phase, const polyblep::Motion& motion) const {
        return motion.speed * bend *
               (polyblep::BendAtWrap(phase, motion) -
                polyblep::BendAtWrap(polyblep::PhaseFromWidth(phase, width), motion));
    }

    /// A reset is a jump and, where it leads from one slope to the other, a bend as well.
    Float4 CorrectionNearReset(const polyblep::ResetEvents& events) const {
        const Float4 half(0.5F);
        const auto halfSlope = [&](Float4 phase) {
            return half * events.motion.increment * xsimd::select(phase < width, up, down);
        };
        return events.Steps(half * Value(events.next), half * Value(events.last),
                            half * Value(events.start)) +
               events.Bends(halfSlope(events.next), halfSlope(events.last), halfSlope(events.start)) +
               events.motion.speed * bend * (events.OfWrap().Bends() - events.OfWidth(width).Bends());
    }
};

/// Away from the ends, where a slope would be infinite. What is not a number becomes the least.
Float4 ClampWidth(Float4 width) { return xsimd::min(xsimd::max(width, Float4(0.001F)), Float4(0.999F)); }

/// The fraction of a modulated width.
Float4 ModulatedWidth(Float4 width) {
    const Float4 x = width - Float4(1.0F);
    const Float4 whole = xsimd::trunc(x);
    const Float4 fraction = x - whole;
    return ClampWidth(xsimd::select(fraction < Float4(0.0F), fraction + Float4(1.0F), fraction));
}

} // namespace

template <u32 Channels>
PolyBlepTriangleBase<Channels>::PolyBlepTriangleBase(std::string moduleName)
    : PolyBlepShape(std::move(moduleName), 6,
                    {"On", "HSSlave", "HSPhase0", "AAOn", "PulseWidth", "PWMOn", "FMOn"}) {
    SetParameterNormalized(pulseWidth, 0.5F);
}

template <u32 Channels>
bool PolyBlepTriangleBase<Channels>::UpdateParameters(ProcessContext& /*context*/) {
    if (anyParameterChanged) {
        ReadFlags({on, hsSlave, hsPhase0, aaOn, fmOn});
        isWidthModulated = ReadFlag(pwmOn);
        width = Value(pulseWidth);
    }
    return true;
}

template <u32 Channels>
bool PolyBlepTriangleBase<Channels>::Process(ProcessContext& context) {
    const float* widths = isWidthModulated ? context.InputOrNull(5) : nullptr;
    if (widths != nullptr) {
        Render(context,
               [widths](u32 n) { return TriangleWave(ModulatedWidth(Float4::load_unaligned(widths + n))); });
    } else {
        const TriangleWave wave(ClampWidth(Float4(width)));
        Render(context, [&wave](u32 /*frame*/) -> const TriangleWave& { return wave; });
    }
    return true;
}

template class PolyBlepTriangleBase<1>;

} // namespace Velmora::dsp
