// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepSquareBase.h"

#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;

/// Rises by 2 at the wrap and falls by 2 at the width.
struct SquareWave {
    Float4 width;

    Float4 Half(Float4 phase) const { return xsimd::select(phase < width, Float4(0.5F), Float4(-0.5F)); }

    Float4 Value(Float4 phase) const { return xsimd::select(phase < width, Float4(1.0F), Float4(-1.0F)); }

    Float4 Correction(Float4 phase, const polyblep::Motion& motion) const {
        return polyblep::StepAtWrap(polyblep::PhaseFromWidth(phase, width), motion) -
               polyblep::StepAtWrap(phase, motion);
    }

    /// The level is flat on both sides of a reset, so that only the difference of the two levels counts.
    Float4 CorrectionNearReset(const polyblep::ResetEvents& events) const {
        return events.Steps(Half(events.next), Half(events.last), Half(events.start)) +
               events.Direction() * (events.OfWidth(width).Steps() - events.OfWrap().Steps());
    }
};

/// What is not a number becomes 0.
Float4 ClampWidth(Float4 width) { return xsimd::min(xsimd::max(width, Float4(0.0F)), Float4(1.0F)); }

} // namespace

template <u32 Channels>
PolyBlepSquareBase<Channels>::PolyBlepSquareBase(std::string moduleName)
    : PolyBlepShape(std::move(moduleName), 6,
                    {"On", "HSSlave", "HSPhase0", "AAOn", "PulseWidth", "PWMOn", "FMOn"}) {}

template <u32 Channels>
bool PolyBlepSquareBase<Channels>::UpdateParameters(ProcessContext& /*context*/) {
    if (anyParameterChanged) {
        ReadFlags({on, hsSlave, hsPhase0, aaOn, fmOn});
        isWidthModulated = ReadFlag(pwmOn);
        width = Value(pulseWidth);
    }
    return true;
}

template <u32 Channels>
bool PolyBlepSquareBase<Channels>::Process(ProcessContext& context) {
    const float* widths = isWidthModulated ? context.InputOrNull(5) : nullptr;
    if (widths != nullptr) {
        Render(context,
               [widths](u32 n) { return SquareWave{ClampWidth(Float4::load_unaligned(widths + n))}; });
    } else {
        const SquareWave wave{ClampWidth(Float4(width))};
        Render(context, [wave](u32 /*frame*/) { return wave; });
    }
    return true;
}

template class PolyBlepSquareBase<1>;

} // namespace Velmora::dsp
