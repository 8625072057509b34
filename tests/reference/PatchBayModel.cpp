// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/PatchBayModel.h"

#include <algorithm>

namespace orphia_reference {

namespace {

bool IsRouted(const PatchSettings& settings, std::size_t destination) {
    const auto& amounts = settings.amount[destination];
    return std::any_of(amounts.begin(), amounts.end(), [](double amount) { return amount > 0.0; });
}

} // namespace

PatchBayModel::PatchBayModel(std::size_t maxBlockSize) : silence(maxBlockSize, 0.0) {
    for (auto& lane : lanes) {
        for (Line& line : lane) {
            line.source = line.destination = line.held = silence;
        }
    }
}

const std::vector<double>& PatchBayModel::Output(std::size_t lane, std::size_t band) const {
    const Line& line = lanes[lane][band];
    switch (line.feed) {
    case Feed::Held:
        return line.held;
    case Feed::Bypassed:
        return line.source;
    case Feed::Routed:
        return line.destination;
    case Feed::Silent:
        break;
    }
    return silence;
}

void PatchBayModel::Process(const PatchSettings& settings, std::size_t frames) {
    if (settings.sampleHold) {
        if (!holding) {
            Hold();
        }
        holding = true;
        return;
    }
    holding = false;
    bool anyRoute = false;
    for (std::size_t band = 0; band < bandCount; ++band) {
        anyRoute = anyRoute || IsRouted(settings, band);
    }
    const bool routed = anyRoute && settings.activated;
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
        for (std::size_t band = 0; band < bandCount; ++band) {
            std::vector<double>& source = lanes[lane][band].source;
            std::for_each_n(source.begin(), frames, [&](double& x) { x *= settings.gainBand[band]; });
        }
        for (std::size_t band = 0; band < bandCount; ++band) {
            Mix(settings, lane, band);
            const Feed patched = IsRouted(settings, band) ? Feed::Routed : Feed::Silent;
            lanes[lane][band].feed = routed ? patched : Feed::Bypassed;
        }
    }
}

/// Freezes the last slot of each line's present buffer. The followers have already written this block, so a
/// bypassed line holds its newest value, before the band gain; a routed one holds the last mixed block.
void PatchBayModel::Hold() {
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
        for (std::size_t band = 0; band < bandCount; ++band) {
            Line& line = lanes[lane][band];
            const double last = Output(lane, band).back();
            std::fill(line.held.begin(), line.held.end(), last);
            line.feed = Feed::Held;
        }
    }
}

/// The mixer works on whole buffers in groups of four, whatever the length of the block.
void PatchBayModel::Mix(const PatchSettings& settings, std::size_t lane, std::size_t destination) {
    std::vector<double>& out = lanes[lane][destination].destination;
    std::fill(out.begin(), out.end(), 0.0);
    for (std::size_t source = 0; source < bandCount; ++source) {
        const double amount = std::max(settings.amount[destination][source], 0.0);
        for (std::size_t n = 0; amount > 0.0 && n < out.size() / 4 * 4; ++n) {
            out[n] += amount * lanes[lane][source].source[n];
        }
    }
}

} // namespace orphia_reference
