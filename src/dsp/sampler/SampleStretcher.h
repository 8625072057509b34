// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/Types.h"

#include <algorithm>
#include <array>
#include <memory>

namespace Velmora::dsp {

/// Stretches one channel in time while it plays, at unchanged pitch. Its delay is not compensated: the first
/// frames are those of a stretcher that fills.
class SampleStretcher {
public:
    /// Output per input; the range within which nothing allocates.
    static constexpr double longestRatio = 10.0;
    static constexpr double shortestRatio = 0.125;

    /// Whether this build has a stretcher at all. Without, none is ever made.
    static bool IsPossible();

    SampleStretcher();
    ~SampleStretcher();

    /// Allocates; to be called before anything else. The rate in Hz.
    void Make(float sampleRate);
    /// Forgets what was fed; the ratio stays.
    void Reset();
    /// Clamped to the range above.
    void SetTimeRatio(double ratio);
    /// Frames after a reset until what is fed comes out in full.
    u32 Delay() const;

    /// Renders frames to out. read(float* in, u32 count) is called for input whenever it is needed, which
    /// may be long in advance and in large portions.
    template <class Source>
    void Render(Source&& read, float* out, u32 frames);

private:
    static constexpr u32 portionSize = 512;

    struct Library;

    template <class Source>
    void Refill(Source& read);
    u32 Available() const;
    u32 SamplesRequired() const;
    void Feed(u32 count);
    u32 Retrieve(float* out, u32 count);

    std::unique_ptr<Library> engine;
    std::array<float, portionSize> portion{};
    bool hasInput = false;
};

/// The library takes at most one step of its analysis per call. Where a step is due at once, since its window
/// has just become shorter, further ones may be, and the samples go in one by one; else the last ones
/// complete the window and may go together.
template <class Source>
void SampleStretcher::Refill(Source& read) {
    u32 largest = 1;
    for (u32 required = SamplesRequired(); required > 0;) {
        const u32 count = std::min(required, largest);
        read(portion.data(), count);
        Feed(count);
        required -= count;
        largest = Available() < 1 ? portionSize : 1;
    }
}

template <class Source>
void SampleStretcher::Render(Source&& read, float* out, u32 frames) {
    while (frames > 0) {
        if (Available() < 1) {
            Refill(read);
        }
        u32 count = Retrieve(out, frames);
        if (count == 0) {
            // Nothing to give yet.
            *out = 0.0F;
            count = 1;
        }
        out += count;
        frames -= count;
    }
}

} // namespace Velmora::dsp
