// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepSawBase.h"

#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;

struct SawWave {
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

} // namespace

template <u32 Channels>
PolyBlepSawBase<Channels>::PolyBlepSawBase(std::string moduleName)
    : PolyBlepShape(std::move(moduleName), 5, {"On", "HSSlave", "HSPhase0", "AAOn", "FMOn"}) {}

template <u32 Channels>
bool PolyBlepSawBase<Channels>::UpdateParameters(ProcessContext& /*context*/) {
    if (anyParameterChanged) {
        ReadFlags({on, hsSlave, hsPhase0, aaOn, fmOn});
    }
    return true;
}

template <u32 Channels>
bool PolyBlepSawBase<Channels>::Process(ProcessContext& context) {
    Render(context, [](u32 /*frame*/) { return SawWave(); });
    return true;
}

template class PolyBlepSawBase<1>;

} // namespace Velmora::dsp
