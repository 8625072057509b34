// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepShape.h"

#include "dsp/math/Within.h"
#include "dsp/oscillators/PolyBlepReset.h"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;

struct SawWave {
    explicit SawWave(Float4 /*width*/) {}

    static Float4 Value(Float4 phase) { return Float4(2.0F) * phase - Float4(1.0F); }

    static Float4 Correction(Float4 phase, const polyblep::Motion& motion) {
        return polyblep::StepAtWrap(phase, motion);
    }

    /// The slope is the same on both sides of a reset; half the value is the phase, but for a constant.
    static Float4 CorrectionNearReset(const polyblep::ResetEvents& events) {
        return events.Steps(events.next, events.last, events.start) +
               events.Direction() * events.OfWrap().Steps();
    }
};

/// Rises by 2 at the wrap and falls by 2 at the width.
struct SquareWave {
    Float4 width;

    explicit SquareWave(Float4 w) : width(w) {}

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

/// What is not a number becomes the low end.
Float4 Within4(Float4 x, float low, float high) {
    return xsimd::min(xsimd::max(x, Float4(low)), Float4(high));
}

template <BandLimitedWave Wave>
using WaveOf =
    std::conditional_t<Wave == BandLimitedWave::Saw, SawWave,
                       std::conditional_t<Wave == BandLimitedWave::Square, SquareWave, TriangleWave>>;

template <BandLimitedWave Wave>
WaveOf<Wave> WaveOfWidth(Float4 width) {
    // A triangle stays away from the ends, where a slope would be infinite.
    constexpr float margin = Wave == BandLimitedWave::Triangle ? 0.001F : 0.0F;
    return WaveOf<Wave>(Within4(width, margin, 1.0F - margin));
}

template <BandLimitedWave Wave>
WaveOf<Wave> WaveOfModulatedWidth(Float4 width) {
    if constexpr (Wave == BandLimitedWave::Triangle) {
        const Float4 x = width - Float4(1.0F);
        const Float4 fraction = x - xsimd::trunc(x);
        width = xsimd::select(fraction < Float4(0.0F), fraction + Float4(1.0F), fraction);
    }
    return WaveOfWidth<Wave>(width);
}

std::vector<std::string> ParameterNames(bool hasWidth) {
    if (hasWidth) {
        return {"On", "HSSlave", "HSPhase0", "AAOn", "PulseWidth", "PWMOn", "FMOn"};
    }
    return {"On", "HSSlave", "HSPhase0", "AAOn", "FMOn"};
}

bool HasResetInputs(const ProcessContext& context) {
    return context.InputOrNull(2) != nullptr && context.InputOrNull(3) != nullptr &&
           context.InputOrNull(4) != nullptr;
}

/// The phase just before a reset that lies samplesSince before a frame, seen from the frame before that.
float PhaseAtReset(float previous, float increment, float samplesSince) {
    const float run = previous + increment * (1.0F - ClampToUnit(samplesSince));
    if (run > 1.0F) {
        return ClampToUnit(run - 1.0F);
    }
    return ClampToUnit(run < 0.0F ? run + 1.0F : run);
}

} // namespace

template <BandLimitedWave Wave>
PolyBlepShape<Wave>::PolyBlepShape(std::string moduleName)
    : UnitModule(std::move(moduleName), hasWidth ? 6 : 5, 1, ParameterNames(hasWidth)) {
    if constexpr (Wave == BandLimitedWave::Triangle) {
        SetParameterNormalized(PulseWidth, 0.5F);
    }
}

template <BandLimitedWave Wave>
void PolyBlepShape<Wave>::OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) {
    ForgetReset();
}

template <BandLimitedWave Wave>
void PolyBlepShape<Wave>::OnReset(bool /*hard*/) {
    ForgetReset();
}

template <BandLimitedWave Wave>
void PolyBlepShape<Wave>::ForgetReset() {
    // A reset from the start phase to itself is no jump.
    lastPhase = startPhase;
    previousPhase = startPhase;
}

template <BandLimitedWave Wave>
bool PolyBlepShape<Wave>::UpdateParameters(ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    const bool wasOn = isOn;
    const bool wasSlave = isSlave;
    isOn = ReadFlag(On);
    isSlave = ReadFlag(HSSlave);
    isAntiAliased = ReadFlag(AAOn);
    isModulated = ReadFlag(FMOn);
    startPhase = ClampToUnit(Value(HSPhase0));
    if constexpr (hasWidth) {
        isWidthModulated = ReadFlag(PWMOn);
        width = Value(PulseWidth);
    }
    if (isOn != wasOn || isSlave != wasSlave) {
        ForgetReset();
    }
    return true;
}

template <BandLimitedWave Wave>
bool PolyBlepShape<Wave>::Process(ProcessContext& context) {
    const float* widths = isWidthModulated ? context.InputOrNull(5) : nullptr;
    if (widths != nullptr) {
        Render(context,
               [widths](u32 n) { return WaveOfModulatedWidth<Wave>(Float4::load_unaligned(widths + n)); });
    } else {
        const auto steady = WaveOfWidth<Wave>(Float4(width));
        Render(context, [&steady](u32 /*frame*/) -> const WaveOf<Wave>& { return steady; });
    }
    return true;
}

template <BandLimitedWave Wave>
template <class WaveAt>
void PolyBlepShape<Wave>::Render(const ProcessContext& context, WaveAt waveAt) {
    if (!isOn || context.numFrames == 0) {
        std::fill_n(context.outputs[0], context.numFrames, 0.0F);
    } else if (!isAntiAliased) {
        RenderPlain(context, waveAt);
    } else if (isSlave && HasResetInputs(context)) {
        isModulated ? RenderAntiAliased<true, true>(context, waveAt)
                    : RenderAntiAliased<true, false>(context, waveAt);
    } else {
        isModulated ? RenderAntiAliased<false, true>(context, waveAt)
                    : RenderAntiAliased<false, false>(context, waveAt);
    }
}

template <BandLimitedWave Wave>
template <class WaveAt>
void PolyBlepShape<Wave>::RenderPlain(const ProcessContext& context, WaveAt waveAt) {
    for (u32 n = 0; n < context.numFrames; n += 4) {
        waveAt(n)
            .Value(Float4::load_unaligned(context.inputs[0] + n))
            .store_unaligned(context.outputs[0] + n);
    }
}

template <BandLimitedWave Wave>
template <bool Sync, bool Fm, class WaveAt>
void PolyBlepShape<Wave>::RenderAntiAliased(const ProcessContext& context, WaveAt waveAt) {
    const float* phases = context.inputs[0];
    const float* increments = context.inputs[1];
    polyblep::Motion motion{Float4(increments[0])};
    for (u32 n = 0; n < context.numFrames; n += 4) {
        const Float4 phase = Float4::load_unaligned(phases + n);
        if constexpr (Fm) {
            motion = polyblep::Motion(Float4::load_unaligned(increments + n));
        }
        const auto& wave = waveAt(n);
        Float4 y = wave.Value(phase);
        if constexpr (Sync) {
            const Float4 to = Float4::load_unaligned(context.inputs[3] + n);
            const Float4 since = Float4::load_unaligned(context.inputs[4] + n);
            const Float4 last =
                FollowResets(context.inputs[2] + n, context.inputs[4] + n, phase, motion.increment);
            const bool isNear = xsimd::any(xsimd::min(to, since) < Float4(polyblep::kernelReach));
            y += isNear ? wave.CorrectionNearReset({phase, motion, to, since, last, Float4(startPhase)})
                        : wave.Correction(phase, motion);
            // Where FM bends the run, what was foreseen can miss a little.
            y = xsimd::min(xsimd::max(y, Float4(-1.0F)), Float4(1.0F));
        } else {
            y += wave.Correction(phase, motion);
        }
        y.store_unaligned(context.outputs[0] + n);
    }
}

template <BandLimitedWave Wave>
simd::Float4 PolyBlepShape<Wave>::FollowResets(const float* flags, const float* samplesSince, Float4 phases,
                                               Float4 increments) {
    const bool hasReset = xsimd::any(Float4::load_unaligned(flags) != Float4(0.0F));
    std::array<float, 4> phase;
    phases.store_unaligned(phase.data());
    if (!hasReset) {
        previousPhase = phase[3];
        return Float4(lastPhase);
    }
    std::array<float, 4> increment;
    std::array<float, 4> last;
    increments.store_unaligned(increment.data());
    for (u32 k = 0; k < 4; ++k) {
        if (flags[k] != 0.0F) {
            lastPhase = PhaseAtReset(previousPhase, increment[k], samplesSince[k]);
        }
        last[k] = lastPhase;
        previousPhase = phase[k];
    }
    return Float4::load_unaligned(last.data());
}

template class PolyBlepShape<BandLimitedWave::Saw>;
template class PolyBlepShape<BandLimitedWave::Square>;
template class PolyBlepShape<BandLimitedWave::Triangle>;

} // namespace Velmora::dsp
