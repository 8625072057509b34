// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/samples/PeakTable.h"

#include <algorithm>

namespace orphia::panel {

namespace {

constexpr std::size_t framesAtOnce = 16384;

PeakTable::Range Both(const PeakTable::Range& a, const PeakTable::Range& b) {
    return {std::min(a.low, b.low), std::max(a.high, b.high)};
}

} // namespace

void PeakTable::Add(const float* samples, std::size_t count) {
    for (std::size_t n = 0; n < count; ++n) {
        const auto [low, high] = std::minmax(samples[2 * n], samples[2 * n + 1]);
        open = openFrames == 0 ? Range{low, high} : Both(open, {low, high});
        if (++openFrames == framesPerPiece) {
            Close();
        }
    }
    frames += count;
}

/// When the table is full, two pieces become one.
void PeakTable::Close() {
    if (pieces.size() == mostPieces) {
        for (std::size_t n = 0; n < mostPieces / 2; ++n) {
            pieces[n] = Both(pieces[2 * n], pieces[2 * n + 1]);
        }
        pieces.resize(mostPieces / 2);
        framesPerPiece *= 2;
        if (openFrames < framesPerPiece) {
            return;
        }
    }
    pieces.push_back(open);
    openFrames = 0;
}

void PeakTable::Finish() {
    if (openFrames > 0) {
        pieces.push_back(open);
        openFrames = 0;
    }
    pieces.shrink_to_fit();
}

PeakTable::Range PeakTable::Between(double from, double to) const {
    if (pieces.empty()) {
        return {};
    }
    const double perFrame = static_cast<double>(frames) / static_cast<double>(framesPerPiece);
    const auto last = static_cast<double>(pieces.size() - 1);
    const auto first = static_cast<std::size_t>(std::clamp(from * perFrame, 0.0, last));
    const auto end = static_cast<std::size_t>(std::clamp(to * perFrame, 0.0, last + 1.0));
    Range range = pieces[first];
    for (std::size_t n = first + 1; n < end; ++n) {
        range = Both(range, pieces[n]);
    }
    return range;
}

bool PeakTable::Read(host::AudioSource& source, const std::function<bool()>& goesOn) {
    std::vector<float> samples(framesAtOnce * host::AudioSource::channelCount);
    while (goesOn()) {
        const std::size_t count = source.Read(samples);
        Add(samples.data(), count);
        if (count < framesAtOnce) {
            Finish();
            return true;
        }
    }
    return false;
}

} // namespace orphia::panel
