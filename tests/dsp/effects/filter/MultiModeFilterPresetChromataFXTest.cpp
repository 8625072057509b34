// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/filter/MultiModeFilterPresetChromataFX.h"

#include "rigs/EffectRig.h"
#include "rigs/MeasurePitch.h"

namespace {

using namespace orphia::test;
using Filter = Velmora::dsp::MultiModeFilterPresetChromataFX;
using Velmora::Test::AnalogueFrequency;
using Velmora::Test::Complex;

/// Soft enough for the resonance not to hold itself.
constexpr double soft = 1e-3;
const Settings plain = {{Filter::EnvAmount, 0.0F}, {Filter::Cutoff, 1000.0F}, {Filter::Resonance, 0.0F}};

Complex ResponseAt(const Signal& impulseResponse, double hz, double rate) {
    return Transform(impulseResponse, hz, rate) / soft;
}

} // namespace

TEST(MultiModeFilterTest, TheModesAreThoseOfAnAnalogueFilterSeenThroughTheBilinearTransform) {
    // Both halves of a Butterworth filter of fourth order; the first takes the resonance.
    constexpr double broad = 1.847759;
    for (const double rate : {22050.0, 44100.0, 192000.0}) {
        for (const double cutoff : {60.0, 1000.0, 9000.0}) {
            for (const auto& [resonance, steep] :
                 {std::pair(0.0F, false), {0.5F, false}, {0.8F, false}, {0.0F, true}, {0.5F, true}}) {
                const auto response = [&, r = resonance, slope = steep ? 1.0F : 0.0F](double mode) {
                    const Signal impulse = Impulse(
                        static_cast<std::size_t>(rate * std::max(40.0 / cutoff, 0.05)) / 4 * 4, float(soft));
                    const Settings at = {{Filter::Cutoff, static_cast<float>(cutoff)},
                                         {Filter::Resonance, r},
                                         {Filter::Slope, slope},
                                         {Filter::Mode, static_cast<float>(mode)}};
                    return Play(*Make<Filter>(plain, at, static_cast<float>(rate)), impulse, impulse)[1];
                };
                const double widest = steep ? 0.7653669 : std::sqrt(2.0);
                // At the cutoff a low-pass tells its damping.
                const double k =
                    1.0 / std::abs(ResponseAt(response(0.0), cutoff, rate)) / (steep ? broad : 1.0);
                EXPECT_NEAR(k,
                            resonance == 0.0F   ? widest
                            : resonance == 0.5F ? 0.3535 * widest
                                                : 0.1215,
                            2e-3);
                for (const double mode : {0.0, 0.4, 1.0, 1.7, 2.0, 2.3, 3.0}) {
                    const Signal heard = response(mode);
                    const auto near = [mode](double centre) {
                        return std::max(0.0, 1.0 - std::abs(mode - centre));
                    };
                    for (const double hz : {20.0, 70.0, 400.0, 950.0, 1500.0, 5000.0, 9900.0}) {
                        const Complex s = AnalogueFrequency(hz, cutoff, rate);
                        const Complex ends = near(0.0) + near(3.0) + (near(2.0) + near(3.0)) * s * s;
                        // The band keeps the power of noise.
                        Complex expected =
                            (ends + near(1.0) * std::sqrt(widest * k) * s) / (s * s + k * s + 1.0);
                        if (steep) {
                            expected *= (ends + near(1.0) * broad * s) / (s * s + broad * s + 1.0);
                        }
                        EXPECT_LT(std::abs(ResponseAt(heard, hz, rate) - expected),
                                  2e-3 * (1.0 + std::abs(expected)))
                            << hz << " Hz, mode " << mode << ", cutoff " << cutoff << " at " << rate
                            << ", resonance " << resonance << ", steep " << steep;
                    }
                }
            }
        }
    }
}

TEST(MultiModeFilterTest, SelfOscillationIsAPureSineAtTheCutoffAndOfTheSameLevelEverywhere) {
    for (const double rate : {44100.0, 192000.0}) {
        for (const double cutoff : {110.0, 1000.0, 7040.0}) {
            for (const auto& [slope, mode, level] : {std::tuple(0.0F, 0.0F, 0.5),
                                                     {1.0F, 0.0F, 0.5 / 1.847759},
                                                     // The weight of the band ends at a damping of 0.02.
                                                     {0.0F, 1.0F, 0.5 * std::sqrt(0.02 * std::sqrt(2.0))}}) {
                const auto filter = Make<Filter>(plain,
                                                 {{Filter::Cutoff, static_cast<float>(cutoff)},
                                                  {Filter::Resonance, 1.0F},
                                                  {Filter::Mode, mode},
                                                  {Filter::Slope, slope}},
                                                 static_cast<float>(rate));
                const Signal ping = Impulse(static_cast<std::size_t>(rate) / 4 * 4);
                Play(*filter, ping, ping);
                const Signal silence(ping.size(), 0.0F);
                const Signal heard = Play(*filter, silence, silence)[0];
                EXPECT_NEAR(Cents(MeasurePitch(heard, cutoff, rate), cutoff), 0.0, 0.05)
                    << cutoff << " at " << rate;
                EXPECT_NEAR(Rms(heard) * std::sqrt(2.0), level, 0.02 * level) << cutoff << " at " << rate;
                EXPECT_NEAR(static_cast<double>(Peak(heard)) / Rms(heard), std::sqrt(2.0), 0.01)
                    << "no harmonics";
            }
        }
    }
    // It begins where the documents have it.
    for (const auto& [resonance, grows] : {std::pair(0.9425F, false), {0.945F, true}}) {
        const auto filter = Make<Filter>(plain, {{Filter::Cutoff, 5000.0F}, {Filter::Resonance, resonance}});
        const Signal ping = Impulse(22000, 1e-3F);
        const Signal heard = Play(*filter, ping, ping)[0];
        EXPECT_EQ(Rms(heard, 20000) > Rms(Signal(heard.begin(), heard.begin() + 2000)), grows) << resonance;
    }
    const Signal loud = Tone(44000, 1000.0, 44100.0, 1.0);
    for (const float resonance : {0.6F, 0.9F, 1.0F}) {
        EXPECT_LT(Peak(Play(*Make<Filter>(plain, {{Filter::Resonance, resonance}}), loud, loud)[0]), 3.0F);
    }
}

TEST(MultiModeFilterTest, DriveBendsByItsCurveAndFoldsLittleBack) {
    for (const double drive : {0.0, 1.0, 2.0, 6.0, 20.0, 36.0}) {
        const double gain = std::pow(10.0, drive / 20.0);
        const auto bent = [gain](double x) { return x * gain / std::sqrt(1.0 + x * x * gain * gain); };
        // The peak of a sine of half full scale stays.
        const double level = 0.5 / bent(0.5);
        const double expected = 0.2 + std::min(drive / 3.0, 1.0) * (bent(0.2) * level - 0.2);
        const Signal steady(4400, 0.2F);
        const auto filter = Make<Filter>(plain, {{Filter::Drive, static_cast<float>(drive)}});
        EXPECT_NEAR(static_cast<double>(Play(*filter, steady, steady)[0].back()), expected, 1e-5) << drive;
    }
    // Of 5 kHz, the ninth harmonic is heard at 900 Hz; the bare curve would do so at the level given here.
    const Signal high = Tone(44000, 5000.0, 44100.0, 0.5);
    const auto filter = Make<Filter>(plain, {{Filter::Drive, 20.0F}, {Filter::Cutoff, 20000.0F}});
    const Signal out = Play(*filter, high, high)[0];
    Signal bare = high;
    for (float& x : bare) {
        x *= std::sqrt(26.0F) / std::sqrt(1.0F + 100.0F * x * x);
    }
    const auto level = [](const Signal& signal, double hz) {
        return std::abs(Transform(signal, hz, 44100.0));
    };
    EXPECT_LT(level(out, 900.0) / level(out, 5000.0), 0.3 * level(bare, 900.0) / level(bare, 5000.0));
    EXPECT_NEAR(level(out, 5000.0) / level(bare, 5000.0), 1.0, 0.02);
}

TEST(MultiModeFilterTest, LoudnessOscillatorAndStereoOffsetMoveTheCutoffByOctaves) {
    // The notch is silent for the tone that it is moved to.
    const auto heard = [](const Settings& settings, double hz, u32 side) {
        const auto filter = Make<Filter>(plain, {{Filter::Mode, 3.0F}, {Filter::EnvAttack, 1.0F}});
        Set(*filter, settings);
        const Signal tone = Tone(44000, hz, 44100.0, 0.25);
        return Rms(Play(*filter, tone, tone)[side], 40000) / Rms(tone, 40000);
    };
    EXPECT_LT(heard({{Filter::StereoOffset, 2.0F}}, 500.0, 0), 0.01);
    EXPECT_LT(heard({{Filter::StereoOffset, 2.0F}}, 2000.0, 1), 0.01);
    EXPECT_LT(heard({{Filter::EnvAmount, 2.0F}, {Filter::EnvRelease, 2000.0F}}, 2000.0, 0), 0.05);
    const Settings square = {{Filter::LFOAmount, 1.0F}, {Filter::LFOShape, 4.0F}, {Filter::LFOFreq, 0.3F}};
    EXPECT_LT(heard(square, 2000.0, 0), 0.01);
}
