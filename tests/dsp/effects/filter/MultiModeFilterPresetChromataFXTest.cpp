// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/filter/MultiModeFilterPresetChromataFX.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using F = Velmora::dsp::MultiModeFilterPresetChromataFX;
using Velmora::Test::AnalogueFrequency;
using Velmora::Test::Complex;

const Settings plain = {{F::EnvAmount, 0}, {F::Cutoff, 1000}, {F::Resonance, 0}};

} // namespace

TEST(MultiModeFilterTest, TheModesAreThoseOfAnAnalogueFilterSeenThroughTheBilinearTransform) {
    // Both halves of a Butterworth filter of fourth order; the first takes the resonance.
    constexpr double broad = 1.847759;
    struct Case {
        double resonance, steep, damping;
    };
    for (const double rate : {22050.0, 44100.0, 192000.0}) {
        for (const double cutoff : {60.0, 1000.0, 9000.0}) {
            for (const Case& c :
                 {Case{0, 0, 1.41421}, {0.5, 0, 0.49988}, {0.8, 0, 0.12145}, {0, 1, 0.76537}}) {
                for (const double mode : {0.0, 0.4, 1.0, 1.7, 2.0, 2.3, 3.0}) {
                    // Soft enough for the resonance not to hold itself.
                    const Signal in =
                        Impulse(std::size_t(rate * std::max(40.0 / cutoff, 0.05)) / 4 * 4, 1e-3F);
                    const Settings at = {{F::Cutoff, cutoff},
                                         {F::Resonance, c.resonance},
                                         {F::Slope, c.steep},
                                         {F::Mode, mode}};
                    const Signal heard = Play(*Make<F>(plain, at, float(rate)), in, in)[1];
                    const auto near = [mode](double m) { return std::max(0.0, 1.0 - std::abs(mode - m)); };
                    for (const double hz : {20.0, 70.0, 400.0, 950.0, 1500.0, 5000.0, 9900.0}) {
                        const Complex s = AnalogueFrequency(hz, cutoff, rate);
                        const Complex ends = near(0.0) + near(3.0) + (near(2.0) + near(3.0)) * s * s;
                        // The band keeps the power of noise.
                        const double band = std::sqrt((c.steep > 0.0 ? 0.76537 : 1.41421) * c.damping);
                        Complex expected = (ends + near(1.0) * band * s) / (s * s + c.damping * s + 1.0);
                        if (c.steep > 0.0) {
                            expected *= (ends + near(1.0) * broad * s) / (s * s + broad * s + 1.0);
                        }
                        EXPECT_LT(std::abs(Transform(heard, hz, rate) / 1e-3 - expected),
                                  3e-3 * (1.0 + std::abs(expected)))
                            << hz << " Hz, mode " << mode << ", cutoff " << cutoff << " at " << rate;
                    }
                }
            }
        }
    }
}

TEST(MultiModeFilterTest, DriveBendsByItsCurveAndFoldsLittleBack) {
    for (const double drive : {0.0, 1.0, 2.0, 6.0, 20.0, 36.0}) {
        const double gain = std::pow(10.0, drive / 20.0);
        const auto bent = [gain](double x) { return x / std::sqrt(1.0 + x * x * gain * gain); };
        // The peak of a sine of an eighth of full scale stays; the first 3 dB blend in.
        const double expected = 0.2 + std::min(drive / 3.0, 1.0) * (bent(0.2) * 0.125 / bent(0.125) - 0.2);
        const Signal steady(4400, 0.2F);
        const Signal out = Play(*Make<F>(plain, {{F::Drive, drive}}), steady, steady)[0];
        EXPECT_NEAR(static_cast<double>(out.back()), expected, 1e-5) << drive;
    }
    // Of 5 kHz, the ninth harmonic is heard at 900 Hz; the bare curve would do so at the level given here.
    const Signal high = Tone(44000, 5000.0, 44100.0, 0.5);
    const Signal out = Play(*Make<F>(plain, {{F::Drive, 20}, {F::Cutoff, 20000}}), high, high)[0];
    Signal bare = high;
    for (float& x : bare) {
        x *= std::sqrt(2.5625F) / std::sqrt(1.0F + 100.0F * x * x);
    }
    const auto level = [](const Signal& signal, double hz) {
        return std::abs(Transform(signal, hz, 44100.0));
    };
    EXPECT_LT(level(out, 900.0) / level(out, 5000.0), 0.3 * level(bare, 900.0) / level(bare, 5000.0));
    EXPECT_NEAR(level(out, 5000.0) / level(bare, 5000.0), 1.0, 0.05);
}
