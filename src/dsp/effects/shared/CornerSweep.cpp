// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/shared/CornerSweep.h"

#include "dsp/math/SyncRates.h"
#include "dsp/math/Within.h"

namespace Velmora::dsp {

void CornerSweep::Prepare(float rate) {
    sampleRate = rate;
    lfo.Prepare(rate);
}

void CornerSweep::Reset() {
    lfo.Reset();
    envelope.Reset();
    loudness = 0.0F;
}

void CornerSweep::SetEnvelopeTimes(float attack, float release) {
    constexpr float shortest = 0.1F;
    constexpr float longest = 10000.0F;
    envelope.SetTimes(Within(attack, shortest, longest), Within(release, shortest, longest), sampleRate);
}

void CornerSweep::SetRate(const ProcessContext& context, float hz, bool isInTime, u32 syncStep) {
    float rate = hz;
    if (isInTime) {
        rate = SyncRates::CycleHz(static_cast<float>(syncStep), context.tempo, hz);
        lfo.FollowSong(context, SyncRates::cycleBeats[syncStep]);
    }
    settings.rateHz = Within(rate, 0.0F, SweepLfoSettings::fastestHz);
}

void CornerSweep::Apply() {
    if (settings != applied) {
        applied = settings;
        lfo.Set(settings);
    }
}

void CornerSweep::Advance(Float4 left, Float4 right) {
    lfo.Advance();
    loudness = envelope.Follow(left, right);
}

} // namespace Velmora::dsp
