// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/midi/TempoMap.h"

#include <algorithm>

namespace orphia::host {

namespace {

/// The last piece that begins at or before a place; the first one when none does.
template <class Pieces, class Member>
const auto& LastBefore(const Pieces& pieces, double place, Member member) {
    const auto next =
        std::upper_bound(pieces.begin() + 1, pieces.end(), place,
                         [member](double sought, const auto& piece) { return sought < piece.*member; });
    return *(next - 1);
}

} // namespace

TempoMap::TempoMap() : pieces{{0.0, 0.0, defaultTempo}} {}

void TempoMap::ChangeAtBeat(double beat, double tempo) {
    Change({pieces.back().SecondsAt(beat), beat, tempo});
}

void TempoMap::ChangeAtSecond(double second, double tempo) {
    Change({second, pieces.back().BeatAt(second), tempo});
}

void TempoMap::Change(Piece piece) {
    if (piece.seconds > pieces.back().seconds) {
        pieces.push_back(piece);
    } else {
        pieces.back().tempo = piece.tempo;
    }
}

double TempoMap::BeatAt(double seconds) const { return PieceAt(seconds).BeatAt(seconds); }

double TempoMap::SecondsAt(double beat) const {
    return LastBefore(pieces, beat, &Piece::beat).SecondsAt(beat);
}

double TempoMap::TempoAt(double seconds) const { return PieceAt(seconds).tempo; }

const TempoMap::Piece& TempoMap::PieceAt(double seconds) const {
    return LastBefore(pieces, seconds, &Piece::seconds);
}

} // namespace orphia::host
