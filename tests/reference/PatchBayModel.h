// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/VocoderParameters.h"

#include <array>
#include <cstddef>
#include <vector>

namespace orphia_reference {

/// The patch panel between the followers and the amplifiers. Lane 0 carries the smoothed envelopes, lane 1
/// the direct rectifier signals; both take the same routes.
struct PatchBayModel {
    explicit PatchBayModel(std::size_t maxBlockSize);

    /// The buffer that a follower writes its block into; it keeps what lies behind a short block.
    std::vector<double>& Source(std::size_t lane, std::size_t band) { return lanes[lane][band].source; }
    /// What the amplifier of this band reads; `maxBlockSize` samples.
    const std::vector<double>& Output(std::size_t lane, std::size_t band) const;

    void Process(const PatchSettings& settings, std::size_t frames);

private:
    enum class Feed { Held, Bypassed, Routed, Silent };
    struct Line {
        std::vector<double> source;
        std::vector<double> destination;
        std::vector<double> held;
        Feed feed = Feed::Held;
    };

    void Hold();
    void Mix(const PatchSettings& settings, std::size_t lane, std::size_t destination);

    std::array<std::array<Line, bandCount>, 2> lanes;
    std::vector<double> silence;
    bool holding = false;
};

} // namespace orphia_reference
