// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/VocoderParameters.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace orphia_reference {

/// The patch panel between the followers and the amplifiers. Lane 0 carries the smoothed envelopes, lane 1
/// the direct rectifier signals; both take the same routes.
struct PatchBayModel {
    explicit PatchBayModel(std::size_t maxBlockSize) : silence(maxBlockSize, 0.0) {
        for (Line& line : lines) {
            line.source = silence;
        }
        Reset();
    }

    /// Silences the outputs; a hold goes on.
    void Reset() {
        for (Line& line : lines) {
            line.held = silence;
            line.output = &line.held;
        }
    }

    /// The buffer that a follower writes its block into; it keeps what lies behind a short block.
    std::vector<double>& Source(std::size_t lane, std::size_t band) {
        return lines[lane * bandCount + band].source;
    }
    /// What the amplifier of this band reads; `maxBlockSize` samples.
    const std::vector<double>& Output(std::size_t lane, std::size_t band) const {
        return *lines[lane * bandCount + band].output;
    }

    void Process(const PatchSettings& settings, std::size_t frames) {
        if (settings.sampleHold) {
            Hold();
            return;
        }
        holding = false;
        const auto isRouted = [](const auto& amounts) {
            return std::any_of(amounts.begin(), amounts.end(), [](double amount) { return amount > 0.0; });
        };
        const bool patched =
            settings.activated && std::any_of(settings.amount.begin(), settings.amount.end(), isRouted);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            std::for_each_n(lines[i].source.begin(), frames,
                            [gain = settings.gainBand[i % bandCount]](double& x) { x *= gain; });
        }
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const auto& amounts = settings.amount[i % bandCount];
            lines[i].mixed = Mix(amounts, i / bandCount);
            lines[i].output = !patched ? &lines[i].source : isRouted(amounts) ? &lines[i].mixed : &silence;
        }
    }

private:
    struct Line {
        std::vector<double> source, mixed, held;
        const std::vector<double>* output;
    };

    /// Freezes the last slot of each line's present buffer. The followers have already written this block, so
    /// a bypassed line holds its newest value, before the band gain; a routed one holds the last mixed block.
    void Hold() {
        for (Line& line : lines) {
            if (!holding) {
                line.held.assign(silence.size(), line.output->back());
                line.output = &line.held;
            }
        }
        holding = true;
    }

    /// The mixer works on whole buffers in groups of four, whatever the length of the block.
    std::vector<double> Mix(const BandAmounts& amounts, std::size_t lane) const {
        std::vector<double> out = silence;
        for (std::size_t band = 0; band < bandCount; ++band) {
            for (std::size_t n = 0; amounts[band] > 0.0 && n < out.size() / 4 * 4; ++n) {
                out[n] += amounts[band] * lines[lane * bandCount + band].source[n];
            }
        }
        return out;
    }

    std::array<Line, 2 * bandCount> lines;
    std::vector<double> silence;
    bool holding = false;
};

} // namespace orphia_reference
