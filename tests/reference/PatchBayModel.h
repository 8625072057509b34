// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/BandModels.h"

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace orphia_reference {

/// Parameters in their units, by the names that they have in the core; the same for lights and meters.
using Values = std::map<std::string, double>;

/// What the vocoder is set by.
struct VocoderSettings {
    struct Route {
        std::size_t from, to;
        double amount;
    };
    Values values;
    /// True while a modulation reaches shift or width: the synthesis bank then moves on every block.
    bool bankIsModulated;
    /// Bands from 0. Only a positive amount is a route.
    std::vector<Route> routes;

    VocoderSettings(const Values& newValues, bool modulated) : values(newValues), bankIsModulated(modulated) {
        for (const auto& [name, amount] : values) {
            unsigned from = 0;
            unsigned to = 0;
            const int found = std::sscanf(name.c_str(), "PatchBay_Analysis%u_Synthesis%u", &from, &to);
            if (found == 2 && amount > 0.0) {
                routes.push_back({from - 1, to - 1, amount});
            }
        }
    }
};

/// The panel between the followers and the amplifiers: sixteen lines of smoothed envelopes, then sixteen of
/// direct rectifier signals; both take the same routes.
struct PatchBayModel {
    using Buffers = std::array<std::vector<double>, 2 * bandCount>;
    /// What the followers write their blocks into, and keep behind a short one; what the amplifiers read.
    Buffers sources, outputs;

    explicit PatchBayModel(std::size_t maxBlockSize) {
        sources.fill(std::vector<double>(maxBlockSize, 0.0));
        outputs = silence = sources;
    }
    void Process(const VocoderSettings& settings, std::size_t frames) {
        for (std::size_t i = 0; i < sources.size(); ++i) {
            const double gain = settings.values.at("PatchBay_GainBand" + std::to_string(i % bandCount + 1));
            std::for_each_n(sources[i].begin(), frames, [gain](double& x) { x *= gain; });
        }
        const bool wasHolding = std::exchange(isHolding, settings.values.at("PatchBay_SampleHold") >= 0.5);
        if (!isHolding) {
            Pass(settings);
        }
        // Freezes the last slot of each line's present buffer. The followers have already written this
        // block, so a bypassed line holds its newest value; a routed one holds the last mixed block.
        for (std::size_t i = 0; i < outputs.size() && isHolding && !wasHolding; ++i) {
            outputs[i].assign(outputs[i].size(), (isBypassed ? sources : outputs)[i].back());
        }
    }

private:
    /// The mixer works on whole buffers in groups of four, whatever the length of the block.
    void Pass(const VocoderSettings& settings) {
        isBypassed = settings.values.at("PatchBay_Activated") <= 0.5 || settings.routes.empty();
        outputs = isBypassed ? sources : silence;
        for (const auto& [from, to, amount] : settings.routes) {
            for (std::size_t i = 0; i < outputs.size() && !isBypassed; i += bandCount) {
                for (std::size_t n = 0; n < silence[0].size() / 4 * 4; ++n) {
                    outputs[i + to][n] += amount * sources[i + from][n];
                }
            }
        }
    }

    Buffers silence;
    bool isHolding = false;
    bool isBypassed = false; ///< in the last block that was not held
};

} // namespace orphia_reference
