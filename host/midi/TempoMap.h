// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"

#include <vector>

namespace orphia::host {

/// The way from seconds to beats (quarter notes) and back, with a tempo that changes in steps. Time 0 is beat
/// 0; before the first change the tempo is 120 beats per minute.
class ORPHIA_PUBLIC TempoMap {
public:
    static constexpr double defaultTempo = 120.0;

    TempoMap();

    /// From a beat, or a time in seconds, on the tempo is another one, in beats per minute, above 0. Changes
    /// are added in order; a second one at the same place replaces the first.
    void ChangeAtBeat(double beat, double tempo);
    void ChangeAtSecond(double second, double tempo);

    /// Before 0 and behind the last change the tempo there goes on.
    double BeatAt(double seconds) const;
    double SecondsAt(double beat) const;
    /// In beats per minute; at a change already the new one.
    double TempoAt(double seconds) const;

private:
    struct Piece {
        double seconds;
        double beat;
        double tempo;

        double BeatAt(double time) const { return beat + (time - seconds) * tempo / 60.0; }
        double SecondsAt(double at) const { return seconds + (at - beat) * 60.0 / tempo; }
    };

    void Change(Piece piece);
    const Piece& PieceAt(double seconds) const;

    std::vector<Piece> pieces;
};

} // namespace orphia::host
