// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/audio/AudioSource.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace orphia::panel {

/// The picture of a sound: its lowest and highest values in pieces of equal length, both sides together.
/// However long the sound is, there are no more than `mostPieces`, and half of them where it is long.
class PeakTable {
public:
    static constexpr std::size_t mostPieces = 4096;

    struct Range {
        float low = 0.0F;
        float high = 0.0F;
    };

    /// Interleaved stereo, in pieces of any length.
    void Add(const float* samples, std::size_t frames);
    /// Behind the last Add.
    void Finish();

    std::uint64_t Frames() const { return frames; }
    std::size_t Pieces() const { return pieces.size(); }
    /// What sounds between two places, 0 to 1; a stretch shorter than a piece has that piece's.
    Range Between(double from, double to) const;

    /// Reads a source to its end; false when `goesOn` told no before.
    bool Read(host::AudioSource& source, const std::function<bool()>& goesOn);

private:
    void Close();

    std::vector<Range> pieces;
    std::uint64_t framesPerPiece = 1;
    std::uint64_t frames = 0;
    /// The piece that is being filled.
    Range open;
    std::uint64_t openFrames = 0;
};

} // namespace orphia::panel
