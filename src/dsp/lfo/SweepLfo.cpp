// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/lfo/SweepLfo.h"

#include "dsp/math/QuarterTurnSine.h"
#include "dsp/math/Within.h"
#include "dsp/math/Xorshift.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

namespace {

using simd::Float4;

/// Short enough to leave the fastest sine alone, long enough for a jump of a filter not to click.
constexpr float shortestGlideMs = 1.5F;

/// The random number of a cycle, in -1..1.
float Draw(u32 cycle) {
    const u32 mixed = Xorshift::Next(Xorshift::UsableState(cycle * 0x9E3779B1U + 0x165667B1U)) * 0x2C1B3C6DU;
    return static_cast<float>(static_cast<i32>(Xorshift::Next(Xorshift::UsableState(mixed)))) * 0x1p-31F;
}

} // namespace

void SweepLfo::Prepare(float rate) {
    quadSeconds = 4.0 / static_cast<double>(rate);
    Set(settings);
}

void SweepLfo::Reset() {
    counter = {};
    lastSongPosition = -1.0F;
    jumps = true;
}

void SweepLfo::Set(const SweepLfoSettings& newSettings) {
    settings = newSettings;
    const double seconds = 0.001 * static_cast<double>(std::max(settings.glideMs, shortestGlideMs));
    follow = static_cast<float>(-std::expm1(-quadSeconds / seconds));
}

void SweepLfo::FollowSong(const ProcessContext& context, float cycleBeats) {
    const float position = Within(context.songPosition, 0.0F, 1e9F);
    if (context.isPlaying == 0) {
        lastSongPosition = -1.0F;
    } else if (position != lastSongPosition) {
        lastSongPosition = position;
        const double cycles = static_cast<double>(position) / static_cast<double>(cycleBeats);
        const double whole = std::floor(cycles);
        counter.cycle = static_cast<u32>(static_cast<u64>(whole));
        counter.phase = cycles - whole;
    }
}

void SweepLfo::Advance() {
    counter.Advance(static_cast<double>(settings.rateHz) * quadSeconds);
    const Float4 target = Target();
    value = jumps ? target : value + follow * (target - value);
    jumps = false;
}

Float4 SweepLfo::Target() const {
    const float left = static_cast<float>(counter.phase) + settings.phase;
    const float right = left + settings.stereoPhase;
    const Float4 phases{left - std::floor(left), right - std::floor(right), 0.0F, 0.0F};
    switch (settings.shape) {
    case SweepLfoSettings::Triangle:
        return xsimd::abs(4.0F * xsimd::abs(phases - 0.25F) - 2.0F) - 1.0F;
    case SweepLfoSettings::RampUp:
        return 2.0F * phases - 1.0F;
    case SweepLfoSettings::RampDown:
        return 1.0F - 2.0F * phases;
    case SweepLfoSettings::Square:
        return xsimd::select(phases < Float4(0.5F), Float4(1.0F), Float4(-1.0F));
    case SweepLfoSettings::SampleAndHold:
        return Drawn(false);
    case SweepLfoSettings::Random:
        return Drawn(true);
    case SweepLfoSettings::Pattern:
        return Stepped(phases);
    default:
        return QuarterTurnSine(4.0F * phases);
    }
}

/// glides: from the number of this cycle to that of the next, flat at both.
Float4 SweepLfo::Drawn(bool glides) const {
    const auto at = [this, glides](float offset) {
        const float phase = static_cast<float>(counter.phase) + offset;
        const float whole = std::floor(phase);
        const u32 cycle = counter.cycle + static_cast<u32>(static_cast<i32>(whole));
        const float from = Draw(cycle);
        const float f = glides ? phase - whole : 0.0F;
        return from + (Draw(cycle + 1) - from) * (f * f * (3.0F - 2.0F * f));
    };
    return {at(settings.phase), at(settings.phase + settings.stereoPhase), 0.0F, 0.0F};
}

Float4 SweepLfo::Stepped(Float4 phases) const {
    const auto at = [this](float phase) {
        return settings.steps[ToIndex(phase * static_cast<float>(settings.stepCount), settings.stepCount)];
    };
    return {at(phases.get(0)), at(phases.get(1)), 0.0F, 0.0F};
}

} // namespace Velmora::dsp
