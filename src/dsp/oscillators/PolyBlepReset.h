// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/oscillators/PolyBlepKernels.h"

namespace Velmora::dsp::polyblep {

/// The distances in samples from each of four frames to the crossings of one phase value, out of reach where
/// there is no crossing: ahead before and after the coming reset, behind after and before the last one.
struct Crossings {
    Float4 ahead;
    Float4 aheadAfterReset;
    Float4 behind;
    Float4 behindBeforeReset;

    /// Steps as in StepAtWrap, for a phase that runs up.
    Float4 Steps() const {
        return StepWithinReach(ahead) + StepWithinReach(aheadAfterReset) - StepWithinReach(behind) -
               StepWithinReach(behindBeforeReset);
    }
    Float4 Bends() const {
        return BendWithinReach(ahead) + BendWithinReach(aheadAfterReset) + BendWithinReach(behind) +
               BendWithinReach(behindBeforeReset);
    }
};

/// What happens around four frames near a hard-sync reset.
///
/// The phase runs evenly to the reset, jumps to the start phase, and runs on evenly. A reset replaces what
/// would have come: a wrap counts only if the phase reaches it before the reset, or came to it since. Which
/// ones do is decided once from the phases at both ends, so that the jumps counted always add up to the
/// difference of the waveform there, whatever rounding does to a wrap and a reset that coincide. To treat
/// both directions alike, phases here are counted along the run: 1 - phase where it runs down.
class ResetEvents {
public:
    ResetEvents(Float4 phaseNow, const Motion& motionNow, Float4 samplesToReset, Float4 samplesSinceReset,
                Float4 phaseAtLastReset, Float4 startPhase)
        : motion(motionNow), phase(phaseNow), last(phaseAtLastReset), start(startPhase),
          runsUp(motion.increment >= Float4(0.0F)), isAhead(samplesToReset < Float4(kernelReach)),
          isBehind(samplesSinceReset < Float4(kernelReach)), samplesTo(Held(samplesToReset, isAhead)),
          samplesSince(Held(samplesSinceReset, isBehind)) {
        const Float4 run = Along(phase);
        const Float4 toWrap = One() - run;
        const Float4 toReset = samplesTo * motion.speed;
        wrapsBefore = toReset > toWrap;
        const Float4 runAtReset = xsimd::select(wrapsBefore, toReset - toWrap, run + toReset);
        next = Along(xsimd::min(runAtReset, One()));
        // Without a wrap since the reset the two are equal, with one they differ by 1.
        wrappedSince = (Along(start) + samplesSince * motion.speed) - run > Float4(0.5F);
    }

    /// Corrects the jumps of a waveform at the resets; halves of its values at next, last and start.
    Float4 Steps(Float4 halfNext, Float4 halfLast, Float4 halfStart) const {
        return (halfNext - halfStart) * StepWithinReach(samplesTo) +
               (halfStart - halfLast) * StepWithinReach(samplesSince);
    }
    /// Corrects its changes of slope; halves of its slopes per sample.
    Float4 Bends(Float4 halfNext, Float4 halfLast, Float4 halfStart) const {
        return (halfStart - halfNext) * BendWithinReach(samplesTo) +
               (halfStart - halfLast) * BendWithinReach(samplesSince);
    }

    Crossings OfWrap() const {
        return At(phase, last, start, NotAhead() | wrapsBefore, NotBehind() | wrappedSince);
    }
    /// Of the falling edge of a pulse. It was crossed when the levels at both ends and the wraps between them
    /// leave no other way.
    Crossings OfWidth(Float4 width) const {
        const auto level = [width](Float4 x) { return Where(x < width, One()); };
        const Float4 fallAhead = AlongSign(level(phase) - level(next)) + Where(wrapsBefore, One());
        const Float4 fallBehind = AlongSign(level(start) - level(phase)) + Where(wrappedSince, One());
        const Float4 half(0.5F);
        return At(PhaseFromWidth(phase, width), PhaseFromWidth(last, width), PhaseFromWidth(start, width),
                  NotAhead() | (fallAhead > half), NotBehind() | (fallBehind > half));
    }

    /// 1 where the phase runs up, -1 where it runs down, 0 where it stands.
    Float4 Direction() const { return AlongSign(Where(motion.speed > Float4(0.0F), One())); }

    const Motion& motion;
    Float4 phase;
    /// The phase just before the coming reset, just before the last one, and just after each.
    Float4 next;
    Float4 last;
    Float4 start;

private:
    static Float4 Held(Float4 samples, Mask4 isNear) {
        return xsimd::select(isNear, xsimd::max(samples, Float4(0.0F)), Float4(outOfReach));
    }
    Float4 Along(Float4 x) const { return xsimd::select(runsUp, x, One() - x); }
    Float4 AlongSign(Float4 x) const { return xsimd::select(runsUp, x, -x); }
    Mask4 NotAhead() const { return !isAhead; }
    Mask4 NotBehind() const { return !isBehind; }

    Crossings At(Float4 now, Float4 beforeLast, Float4 afterReset, Mask4 ahead, Mask4 behind) const {
        const Float4 none(outOfReach);
        const Float4 run = Along(now);
        return {xsimd::select(ahead, (One() - run) * motion.period, none),
                samplesTo + (One() - Along(afterReset)) * motion.period,
                xsimd::select(behind, run * motion.period, none),
                samplesSince + Along(beforeLast) * motion.period};
    }

    static Float4 One() { return Float4(1.0F); }

    Mask4 runsUp;
    Mask4 isAhead;
    Mask4 isBehind;
    Float4 samplesTo;
    Float4 samplesSince;
    Mask4 wrapsBefore;
    Mask4 wrappedSince;
};

} // namespace Velmora::dsp::polyblep
