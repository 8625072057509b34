// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>

namespace orphia_reference {

inline constexpr int bandCount = 16;

/// The high-frequency path. Mode 0 is gated by the discriminator, mode 1 always open.
struct HfSettings {
    double highPassGain = 1.592;
    int mode = 0;
    double level = 1.0;
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
    std::array<double, bandCount> gainBand{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    /// Only a positive amount is a route.
    std::array<std::array<double, bandCount>, bandCount> amount{};
    bool activated = false;
    bool sampleHold = false;
};

/// Everything that the vocoder core is set by, in real units.
struct VocoderParameters {
    double programLevelDb = 0.0;
    double carrierLevelDb = 0.0;
    double attackSeconds = 0.005;
    double releaseSeconds = 0.05;
    double shift = 0.0;
    double width = 0.0;
    /// True while a modulation reaches shift or width: the synthesis bank then moves on every block.
    bool bankModulated = false;
    double balance = 0.5;
    bool noiseMix = false;
    int unvoicedMode = 0;
    double wet = 1.0;
    double discriminatorTrimmer = 0.5; ///< 0 to 1, 0.5 is neutral
    HfSettings hf;
    GateSettings gates;
    PatchSettings patch;
};

} // namespace orphia_reference
