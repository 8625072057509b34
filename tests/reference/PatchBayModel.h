// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/BandModels.h"

#include <array>
#include <vector>

namespace orphia_reference {

/// The patch panel. Amounts are indexed [synthesis band][analysis band], both from 0; only a positive amount
/// is a route.
struct PatchSettings {
    BandValues gainBand{};
    std::array<BandValues, bandCount> amount{};
    bool activated = false;
    bool sampleHold = false;
};

/// The panel between the followers and the amplifiers. Lane 0 carries the smoothed envelopes, lane 1 the
/// direct rectifier signals; both take the same routes.
struct PatchBayModel {
    using Buffer = std::vector<double>;

    explicit PatchBayModel(std::size_t maxBlockSize) : silence(maxBlockSize, 0.0) {
        sources.fill(silence);
        Reset();
    }

    /// Silences the outputs; a hold goes on.
    void Reset() {
        outputs.fill(silence);
        isBypassed = false;
    }

    /// The buffer that a follower writes its block into; it keeps what lies behind a short block.
    Buffer& Source(std::size_t lane, std::size_t band) { return sources[lane * bandCount + band]; }
    /// What the amplifier of this band reads; `maxBlockSize` samples.
    const Buffer& Output(std::size_t lane, std::size_t band) const {
        return outputs[lane * bandCount + band];
    }

    void Process(const PatchSettings& settings, std::size_t frames) {
        const auto isRouted = [](const auto& amounts) {
            return std::any_of(amounts.begin(), amounts.end(), [](double amount) { return amount > 0.0; });
        };
        for (std::size_t i = 0; i < sources.size(); ++i) {
            std::for_each_n(sources[i].begin(), frames, [&](double& x) { x *= settings.gainBand[i % 16]; });
        }
        if (settings.sampleHold) {
            Hold();
            return;
        }
        holding = false;
        isBypassed =
            !settings.activated || std::none_of(settings.amount.begin(), settings.amount.end(), isRouted);
        for (std::size_t i = 0; i < sources.size(); ++i) {
            outputs[i] = isBypassed ? sources[i] : Mix(settings.amount[i % bandCount], i / bandCount);
        }
    }

private:
    /// Freezes the last slot of each line's present buffer. The followers have already written this block, so
    /// a bypassed line holds its newest value; a routed one holds the last mixed block.
    void Hold() {
        for (std::size_t i = 0; i < outputs.size() && !holding; ++i) {
            outputs[i].assign(silence.size(), (isBypassed ? sources : outputs)[i].back());
        }
        holding = true;
    }

    /// The mixer works on whole buffers in groups of four, whatever the length of the block.
    Buffer Mix(const BandValues& amounts, std::size_t lane) {
        Buffer out = silence;
        for (std::size_t band = 0; band < bandCount; ++band) {
            for (std::size_t n = 0; amounts[band] > 0.0 && n < out.size() / 4 * 4; ++n) {
                out[n] += amounts[band] * Source(lane, band)[n];
            }
        }
        return out;
    }

    std::array<Buffer, 2 * bandCount> sources, outputs;
    Buffer silence;
    bool holding = false;
    /// In the last block that was not held, since a reset.
    bool isBypassed = false;
};

} // namespace orphia_reference
