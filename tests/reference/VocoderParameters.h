// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>

namespace orphia_reference {

inline constexpr int bandCount = 16;

/// Corners of the voiced/unvoiced discriminator and its trimmer (0 to 1, 0.5 is neutral).
struct DiscriminatorSettings {
    double fcLowPass = 1833.142;
    double qLowPass = 0.73082;
    double fcHighPass = 1860.4652;
    double qHighPass = 0.72008;
    double trimmer = 0.5;
};

/// Corners, gain, level and mode of the high-frequency path. Mode 0 is gated by the discriminator, mode 1
/// always open.
struct HfSettings {
    double fcHighPass = 5028.5923;
    double qHighPass = 0.7102;
    double highPassGain = 1.592;
    double fcLowPass = 15005.0;
    double qLowPass = 0.70711;
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

/// The patch panel. Amounts and flags are indexed [synthesis band][analysis band], both from 0.
struct PatchSettings {
    std::array<double, bandCount> gainBand = MakeUnityGains();
    std::array<std::array<double, bandCount>, bandCount> amount{};
    std::array<std::array<bool, bandCount>, bandCount> on{};
    bool activated = false;
    bool sampleHold = false;

    /// Gives a route its amount and its flag the way a knob does: only positive amounts switch it on.
    void Connect(int analysis, int synthesis, double value) {
        const auto destination = static_cast<std::size_t>(synthesis);
        const auto source = static_cast<std::size_t>(analysis);
        amount[destination][source] = value;
        on[destination][source] = value > 0.0;
    }

    static constexpr std::array<double, bandCount> MakeUnityGains() {
        std::array<double, bandCount> gains{};
        gains.fill(1.0);
        return gains;
    }
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
    DiscriminatorSettings discriminator;
    HfSettings hf;
    GateSettings gates;
    PatchSettings patch;
};

} // namespace orphia_reference
