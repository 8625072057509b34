// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/sampler/PlayRange.h"

namespace Velmora::dsp {

/// A position that moves through a sample, once or in the loop: that of one channel, or that of the
/// timeline. Positions of channels stay multiples of 2^-32 frames, so that steps of at least 1/256 with the
/// precision of a float add up without rounding for minutes.
class Playhead {
public:
    /// Back to the first direction; the position stays.
    void Reset();
    void Start(double startPosition, bool startsReversed);

    /// Moves towards the end of the trimmed part. At the end the head stops, or, if it repeats and has not
    /// done so, starts anew; when the loop turns round, the repetition runs the other way.
    void MoveOnce(double distance, const PlayRange& range, bool repeatsOnce);
    /// Before moves in the loop: from outside, it is entered in the first direction, not left behind.
    void EnterLoop(const PlayRange& range);
    /// Moves in the loop. A move of more than the loop's length still ends inside.
    void MoveInLoop(double distance, const PlayRange& range);
    /// Back into a sample that has become shorter.
    void KeepWithin(double frames);

    double Position() const { return position; }
    bool IsReversed() const { return isReversed; }
    bool RisesInLoop() const { return hasTurned == isReversed; }
    bool HasEnded() const { return hasEnded; }
    bool HasRepeated() const { return hasRepeated; }
    bool HasWrapped() const { return hasWrapped; }
    void ClearWrapped() { hasWrapped = false; }

private:
    void Wrap(double beyond, bool rises, const PlayRange& range);

    double position = 0.0;
    bool isReversed = false;
    /// The loop runs against the first direction.
    bool hasTurned = false;
    bool hasEnded = false;
    bool hasRepeated = false;
    bool hasWrapped = false;
};

} // namespace Velmora::dsp
