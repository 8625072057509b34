// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/Playhead.h"

#include <algorithm>
#include <cmath>

namespace Velmora::dsp {

void Playhead::Reset() {
    const double held = position;
    const bool heldDirection = isReversed;
    *this = {};
    position = held;
    isReversed = heldDirection;
}

void Playhead::Start(double startPosition, bool startsReversed) {
    constexpr int fractionBits = 32;
    position = std::ldexp(std::floor(std::ldexp(startPosition, fractionBits)), -fractionBits);
    isReversed = startsReversed;
}

void Playhead::MoveOnce(double distance, const PlayRange& range, bool repeatsOnce) {
    if (!hasEnded) {
        position += isReversed ? -distance : distance;
        hasEnded = isReversed ? position <= range.trimStart : position >= range.trimStop;
    }
    if (hasEnded && repeatsOnce && !hasRepeated) {
        isReversed = isReversed != range.turnsRound;
        position = isReversed ? range.trimStop : range.trimStart;
        hasEnded = false;
        hasRepeated = true;
    }
}

void Playhead::EnterLoop(const PlayRange& range) {
    const bool leavesBehind = RisesInLoop() ? position > range.loopStop : position < range.loopStart;
    hasTurned = hasTurned && !leavesBehind;
}

void Playhead::MoveInLoop(double distance, const PlayRange& range) {
    const bool rises = RisesInLoop();
    position += rises ? distance : -distance;
    const double beyond = rises ? position - range.loopStop : range.loopStart - position;
    if (beyond >= 0.0) {
        Wrap(beyond, rises, range);
    }
}

void Playhead::Wrap(double beyond, bool rises, const PlayRange& range) {
    const double length = range.loopStop - range.loopStart;
    const double period = range.turnsRound ? 2.0 * length : length;
    if (beyond >= period) {
        beyond = period > 0.0 ? std::fmod(beyond, period) : 0.0;
    }
    bool comesDown = !rises;
    if (range.turnsRound) {
        const bool turnsTwice = beyond > length;
        beyond = turnsTwice ? beyond - length : beyond;
        comesDown = rises != turnsTwice;
        hasTurned = comesDown != isReversed;
    } else {
        hasTurned = false;
    }
    // Whoever comes down now is so far below the upper end, whoever rises so far above the lower one.
    position = comesDown ? range.loopStop - beyond : range.loopStart + beyond;
    hasWrapped = true;
}

void Playhead::KeepWithin(double frames) { position = std::clamp(position, 0.0, frames); }

} // namespace Velmora::dsp
