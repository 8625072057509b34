// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/filter/MultiModeFilterPresetChromataFX.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using Filter = Velmora::dsp::MultiModeFilterPresetChromataFX;
using Velmora::Test::AnalogueFrequency;
using Velmora::Test::Complex;
using Velmora::Test::pi;

/// Soft enough for the resonance not to hold itself.
constexpr float soft = 1e-3F;
const Settings plain = {{Filter::EnvAmount, 0.0F}, {Filter::Cutoff, 1000.0F}, {Filter::Resonance, 0.0F}};

Signal ResponseOf(const Settings& settings, float rate, float seconds = 0.05F) {
    const Signal impulse = Impulse(static_cast<std::size_t>(rate * seconds) / 4 * 4, soft);
    const auto filter = Make<Filter>(plain, settings, rate);
    return Play(*filter, impulse, impulse)[0];
}

double GainAt(const Signal& response, double hz, double rate) {
    return std::abs(Transform(response, hz, rate)) / static_cast<double>(soft);
}

} // namespace

TEST(MultiModeFilterTest, TheModesAreThoseOfAnAnalogueFilterSeenThroughTheBilinearTransform) {
    for (const float rate : {22050.0F, 44100.0F, 192000.0F}) {
        const auto fs = static_cast<double>(rate);
        for (const float cutoff : {60.0F, 1000.0F, 9000.0F}) {
            for (const float resonance : {0.0F, 0.5F, 0.8F}) {
                const Settings at = {{Filter::Cutoff, cutoff}, {Filter::Resonance, resonance}};
                Signal modes[4];
                for (u32 mode = 0; mode < 4; ++mode) {
                    modes[mode] = ResponseOf({at[0], at[1], {Filter::Mode, static_cast<float>(mode)}}, rate,
                                             std::max(40.0F / cutoff, 0.05F));
                }
                // At the cutoff a low-pass tells its damping; without resonance that is Butterworth's.
                const auto corner = static_cast<double>(cutoff);
                const double k = 1.0 / GainAt(modes[0], corner, fs);
                EXPECT_NEAR(k, std::sqrt(2.0), resonance == 0.0F ? 1e-3 : 1.35);
                const double band = GainAt(modes[1], corner, fs) * k;
                EXPECT_NEAR(band, std::sqrt(std::sqrt(2.0) * k), 0.01 * band) << "power of noise";
                for (const double hz : {20.0, 70.0, 400.0, 950.0, 1500.0, 5000.0, 9900.0}) {
                    const Complex s = AnalogueFrequency(hz, corner, fs);
                    const Complex under = s * s + k * s + 1.0;
                    const Complex expected[] = {1.0 / under, band * s / under, s * s / under,
                                                (s * s + 1.0) / under};
                    for (u32 mode = 0; mode < 4; ++mode) {
                        const double wanted = std::abs(expected[mode]);
                        const double got = GainAt(modes[mode], hz, fs);
                        EXPECT_NEAR(wanted > 1e-3 ? 20.0 * std::log10(got / wanted) : 0.0, 0.0, 0.05)
                            << hz << " Hz, mode " << mode << ", cutoff " << cutoff << " at " << rate;
                    }
                }
            }
        }
    }
}

TEST(MultiModeFilterTest, TheSteepSlopeIsAButterworthFilterOfFourthOrder) {
    for (const float mode : {0.0F, 2.0F}) {
        const Signal heard = ResponseOf({{Filter::Slope, 1.0F}, {Filter::Mode, mode}}, 48000.0F);
        for (const double hz : {300.0, 800.0, 1000.0, 1300.0, 3000.0}) {
            const double w = std::abs(AnalogueFrequency(hz, 1000.0, 48000.0));
            const double expected = 1.0 / std::sqrt(1.0 + std::pow(mode > 0.0F ? 1.0 / w : w, 8.0));
            EXPECT_NEAR(20.0 * std::log10(GainAt(heard, hz, 48000.0) / expected), 0.0, 0.05)
                << hz << " Hz, mode " << mode;
        }
    }
}

TEST(MultiModeFilterTest, LowAndHighMakeTheNotchAndTheBandTheRest) {
    Signal noise = Noise(4400, soft, 2);
    const auto mode = [&noise](float value) {
        return Play(*Make<Filter>(plain, {{Filter::Mode, value}, {Filter::Resonance, 0.6F}}), noise,
                    noise)[0];
    };
    const Signal low = mode(0.0F);
    const Signal band = mode(1.0F);
    const Signal high = mode(2.0F);
    const Signal notch = mode(3.0F);
    const Signal between = mode(1.5F);
    const float share = (noise[100] - notch[100]) / band[100];
    for (std::size_t n = 0; n < noise.size(); ++n) {
        ASSERT_NEAR(low[n] + high[n], notch[n], 2e-9F) << n;
        ASSERT_NEAR(noise[n] - notch[n], share * band[n], 2e-8F) << n;
        ASSERT_NEAR(between[n], 0.5F * (band[n] + high[n]), 2e-9F) << n;
    }
}

TEST(MultiModeFilterTest, SelfOscillationIsAPureSineAtTheCutoffAndOfTheSameLevelEverywhere) {
    for (const float rate : {44100.0F, 192000.0F}) {
        const auto fs = static_cast<double>(rate);
        for (const float cutoff : {110.0F, 1000.0F, 7040.0F}) {
            for (const float slope : {0.0F, 1.0F}) {
                const auto filter = Make<Filter>(
                    plain, {{Filter::Cutoff, cutoff}, {Filter::Resonance, 1.0F}, {Filter::Slope, slope}},
                    rate);
                Signal ping = Impulse(static_cast<std::size_t>(rate) / 4 * 4, 1.0F);
                const Signal silence(ping.size(), 0.0F);
                const Signal start = Play(*filter, ping, ping)[0];
                const Signal heard = Play(*filter, silence, silence)[0];
                // Phase from an early window to a late one, and what no sine explains.
                const auto window = static_cast<std::size_t>(fs * 0.2);
                const auto tone = [&](std::size_t from) {
                    Complex sum;
                    for (std::size_t n = 0; n < window; ++n) {
                        const double turn =
                            2.0 * pi * static_cast<double>(cutoff) * static_cast<double>(from + n) / fs;
                        const double weight =
                            1.0 - std::cos(2.0 * pi * static_cast<double>(n) / static_cast<double>(window));
                        sum += static_cast<double>(heard[from + n]) * std::polar(weight, -turn);
                    }
                    return 2.0 * sum / static_cast<double>(window);
                };
                const Complex early = tone(0);
                const auto late = static_cast<std::size_t>(fs * 0.7);
                const double hz = std::arg(tone(late) / early) / (2.0 * pi * 0.7);
                const double cents = 1200.0 * std::log2(1.0 + hz / static_cast<double>(cutoff));
                EXPECT_NEAR(cents, 0.0, 0.05) << cutoff << " Hz at " << rate;
                const double expected = slope > 0.0F ? 0.5 / 1.847759 : 0.5;
                EXPECT_NEAR(std::abs(early), expected, 0.02 * expected) << cutoff << " Hz at " << rate;
                double rest = 0.0;
                for (std::size_t n = late; n < late + window; ++n) {
                    const double turn =
                        2.0 * pi * (static_cast<double>(cutoff) + hz) * static_cast<double>(n) / fs;
                    rest = std::max(rest, std::abs(static_cast<double>(heard[n]) -
                                                   std::real(std::polar(1.0, turn) * early)));
                }
                EXPECT_LT(rest, 0.01 * expected) << cutoff << " Hz at " << rate;
            }
        }
    }
}

TEST(MultiModeFilterTest, NoResonanceRunsAwayWhileTheCutoffJumpsAndSilenceFollows) {
    Signal noise = Noise(17600, 1.0F, 3);
    noise.resize(44000, 0.0F);
    for (const float resonance : {0.0F, 0.5F, 0.9F, 1.0F}) {
        for (const float mode : {0.0F, 1.0F, 2.0F}) {
            const auto filter = Make<Filter>(
                plain, {{Filter::Resonance, resonance}, {Filter::Mode, mode}, {Filter::Slope, 1.0F}});
            Signal jumps = Noise(44000, 0.8F, 4);
            const Signal out = Render(*filter, {&noise, &noise, &jumps}, 2, BlockSplit::Of(4))[0];
            EXPECT_TRUE(AllFinite(out));
            EXPECT_LT(Peak(out), 5.0F) << "resonance " << resonance << ", mode " << mode;
            EXPECT_LT(Peak(out, 40000), resonance < 0.95F ? 1e-6F : 1.5F) << "resonance " << resonance;
        }
    }
    const Signal loud = Tone(44000, 1000.0, 44100.0, 1.0);
    for (const float resonance : {0.6F, 0.9F, 1.0F}) {
        const auto filter = Make<Filter>(plain, {{Filter::Resonance, resonance}});
        EXPECT_LT(Peak(Play(*filter, loud, loud)[0]), 3.0F) << "a loud resonance is held at " << resonance;
    }
}

TEST(MultiModeFilterTest, DriveKeepsTheLevelAndFoldsLittleBack) {
    const Signal tone = Tone(44000, 1000.0, 44100.0, 0.5);
    for (const float drive : {0.0F, 1.0F, 6.0F, 20.0F, 36.0F}) {
        const auto filter = Make<Filter>(plain, {{Filter::Drive, drive}, {Filter::Cutoff, 20000.0F}});
        const Signal out = Play(*filter, tone, tone)[0];
        const double change = 20.0 * std::log10(Rms(out) / Rms(tone));
        EXPECT_GT(change, -0.3) << drive;
        EXPECT_LT(change, 3.1) << drive;
    }
    // Of 5 kHz, the ninth harmonic is heard at 900 Hz; the bare curve would do so at the level given here.
    const Signal high = Tone(44000, 5000.0, 44100.0, 0.5);
    const auto filter = Make<Filter>(plain, {{Filter::Drive, 20.0F}, {Filter::Cutoff, 20000.0F}});
    const Signal out = Play(*filter, high, high)[0];
    Signal bare = high;
    for (float& x : bare) {
        x = 10.0F * x / std::sqrt(1.0F + 100.0F * x * x) * std::sqrt(1.0F + 25.0F) / 10.0F;
    }
    const auto level = [](const Signal& signal, double hz) {
        return std::abs(Transform(signal, hz, 44100.0));
    };
    EXPECT_LT(level(out, 900.0) / level(out, 5000.0), 0.3 * level(bare, 900.0) / level(bare, 5000.0));
    EXPECT_NEAR(level(out, 5000.0) / level(bare, 5000.0), 1.0, 0.15);
}

TEST(MultiModeFilterTest, LoudnessOscillatorAndStereoOffsetMoveTheCutoffByOctaves) {
    // The notch is silent for the tone that it is moved to.
    const auto heard = [](const Settings& settings, double hz, u32 side) {
        const auto filter = Make<Filter>(plain, {{Filter::Mode, 3.0F}, {Filter::EnvAttack, 1.0F}});
        Set(*filter, settings);
        const Signal tone = Tone(44000, hz, 44100.0, 0.25);
        const Signal out = Play(*filter, tone, tone)[side];
        return Rms(out, 40000) / Rms(tone, 40000);
    };
    EXPECT_LT(heard({}, 1000.0, 0), 0.01);
    EXPECT_LT(heard({{Filter::StereoOffset, 2.0F}}, 500.0, 0), 0.01);
    EXPECT_LT(heard({{Filter::StereoOffset, 2.0F}}, 2000.0, 1), 0.01);
    EXPECT_LT(heard({{Filter::EnvAmount, 2.0F}, {Filter::EnvRelease, 2000.0F}}, 2000.0, 0), 0.05);
    EXPECT_LT(
        heard({{Filter::LFOAmount, 1.0F}, {Filter::LFOShape, 4.0F}, {Filter::LFOFreq, 0.3F}}, 2000.0, 0),
        0.01);
    EXPECT_GT(heard({}, 2000.0, 1), 0.5);
}

TEST(MultiModeFilterTest, ControlsAreSmoothAndNoneIsIdle) {
    std::vector<Settings> where(Filter::parameterCount, {{Filter::LFOAmount, 2.0F}, {Filter::LFOFreq, 3.0F}});
    where[Filter::SyncRate].push_back({Filter::TempoSync, 1.0F});
    where[Filter::EnvAttack] = where[Filter::EnvRelease] = {{Filter::EnvAmount, 3.0F}};
    ExpectEveryParameterToAct<Filter>(where);
    ExpectModulationToMove<Filter>({Filter::Cutoff, Filter::Resonance, Filter::Mode}, {});
    ExpectNoSteps<Filter>({}, 0.01F);
}

TEST(MultiModeFilterTest, BlocksResetsAndFaultsLeaveNoTrace) {
    const Settings busy = {{Filter::Resonance, 0.9F}, {Filter::LFOAmount, 2.0F}, {Filter::LFOShape, 6.0F},
                           {Filter::Drive, 9.0F},     {Filter::EnvAmount, 2.0F}, {Filter::LFOFreq, 5.0F}};
    const Settings other = {{Filter::Slope, 1.0F},  {Filter::Mode, 1.7F},      {Filter::Drive, 0.0F},
                            {Filter::DryWet, 0.7F}, {Filter::LFOAmount, 0.0F}, {Filter::EnvAmount, 0.0F}};
    ExpectNoTraceOfBlocksResetsAndFaults<Filter>(busy, other, 10.0F);
    const Signal noise = Noise(4400, 0.5F, 6);
    EXPECT_EQ(Play(*Make<Filter>({{Filter::DryWet, 0.0F}}), noise, noise)[0], noise);
}
