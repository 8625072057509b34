// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>

namespace orphia_reference {

inline constexpr std::size_t bandCount = 16;
using BandAmounts = std::array<double, bandCount>;

/// The high-frequency path. Mode 0 is gated by the discriminator, mode 1 always open.
struct HfSettings {
    double highPassGain = 1.592;
    int mode = 0;
    double level = 0.0;
};

/// Corners in Hz of the noise gate and the HF gate in unvoiced mode 1.
struct GateSettings {
    double noiseAttack = 40.5;
    double noiseRelease = 1.95;
    double hfAttack = 37.7;
    double hfRelease = 3.43;
};

/// The patch panel. Amounts are indexed [synthesis band][analysis band], both from 0.
struct PatchSettings {
    BandAmounts gainBand{};
    /// Only a positive amount is a route.
    std::array<BandAmounts, bandCount> amount{};
    bool activated = false;
    bool sampleHold = false;
};

/// Everything that the vocoder core is set by, in real units, as it starts.
struct VocoderParameters {
    double programLevelDb = -75.0;
    double carrierLevelDb = -75.0;
    double attackSeconds = 0.001;
    double releaseSeconds = 0.01;
    double shift = -1.0;
    double width = -1.0;
    /// True while a modulation reaches shift or width: the synthesis bank then moves on every block.
    bool bankModulated = false;
    double balance = 0.0;
    bool noiseMix = false;
    int unvoicedMode = 0;
    double wet = 0.0;
    double discriminatorTrimmer = 0.0; ///< 0 to 1, 0.5 is neutral
    HfSettings hf;
    GateSettings gates;
    PatchSettings patch;
};

} // namespace orphia_reference
