// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/TubeScreamer808.h"

#include "dsp/effects/distortion/TubeScreamerNodes.h"
#include "rigs/EffectRig.h"

#include <ebur128.h>

namespace {

using namespace orphia::test;
using Velmora::dsp::TubeScreamer808;
using Velmora::Test::pi;
using Complex = std::complex<double>;

/// Clean and loud.
const Settings open = {{TubeScreamer808::Level, 0.0F}};

double InDb(double ratio) { return 20.0 * std::log10(ratio); }

/// A sum of sawtooths from 110 Hz on, whose spectrum falls like that of music.
Signal Programme(std::size_t frames, double level) {
    Signal signal(frames);
    for (std::size_t n = 0; n < frames; ++n) {
        double sum = 0.0;
        for (const double hz : {110.0, 138.6, 164.8}) {
            const double cycles = hz * static_cast<double>(n) / 44100.0;
            sum += 2.0 * (cycles - std::floor(cycles)) - 1.0;
        }
        signal[n] = static_cast<float>(level * sum);
    }
    return signal;
}

double Loudness(const Signal& signal) {
    ebur128_state* meter = ebur128_init(1, 44100, EBUR128_MODE_I);
    ebur128_add_frames_float(meter, signal.data(), signal.size());
    double lufs = 0.0;
    ebur128_loudness_global(meter, &lufs);
    ebur128_destroy(&meter);
    return lufs;
}

/// The first harmonics of a tone.
std::vector<double> Harmonics(const Settings& settings, float rate, double hz, int count) {
    const auto frames = static_cast<std::size_t>(rate);
    const Signal tone = Tone(frames, hz, static_cast<double>(rate), 0.25);
    const auto unit = Make<TubeScreamer808>(open, settings, rate);
    const Signal out = Play(*unit, tone, tone)[0];
    const Signal steady(out.end() - static_cast<std::ptrdiff_t>(frames / 2), out.end());
    std::vector<double> levels;
    for (int k = 1; k <= count; ++k) {
        levels.push_back(std::abs(Transform(steady, k * hz, static_cast<double>(rate))) * 4.0 /
                         static_cast<double>(frames));
    }
    return levels;
}

} // namespace

TEST(TubeScreamer808Test, ASmallSignalGoesThroughTheLinearCircuitInTimeWithTheDrySound) {
    constexpr double level = 1e-4;
    for (const float rate : {44100.0F, 192000.0F}) {
        const auto fs = static_cast<double>(rate);
        for (const double ohms : {60e3, 500e3}) {
            double scale = 0.0;
            for (const double hz : {1000.0, 100.0, 400.0, 3000.0, 8000.0, 15000.0}) {
                const auto frames = static_cast<std::size_t>(rate) / 10;
                const Signal tone = Tone(4 * frames, hz, fs, level);
                const auto response = [&](const Settings& settings) {
                    const Signal out = Play(*Make<TubeScreamer808>(open, settings, rate), tone, tone)[1];
                    const Signal steady(out.end() - static_cast<std::ptrdiff_t>(frames), out.end());
                    return Transform(steady, hz, fs) * 2.0 / static_cast<double>(frames);
                };
                const Complex dry = response({{TubeScreamer808::DryWet, 0.0F}});
                const auto drive = static_cast<float>(InDb(1.0 + ohms / 4.7e3));
                const Complex wet =
                    response({{TubeScreamer808::Drive, drive}, {TubeScreamer808::LowCut, 300.0F}});
                const Complex s = ComplexFrequency(hz);
                const Complex filters = s / (s + 2.0 * pi * 300.0) * s / (s + 2.0 * pi * 8.0);
                const Complex ratio =
                    wet / dry / (filters * ClipperOfTheNodes(ohms, hz) * ToneOfTheNodes(0.5, hz));
                scale = scale == 0.0 ? std::abs(ratio) : scale;
                EXPECT_NEAR(InDb(std::abs(ratio) / scale), 0.0, hz > 10000.0 ? 1.0 : 0.25)
                    << hz << " Hz, " << ohms << " ohms at " << rate;
                EXPECT_NEAR(std::arg(ratio), 0.0, hz > 10000.0 ? 0.2 : 0.08)
                    << hz << " Hz, " << ohms << " ohms at " << rate;
                EXPECT_NEAR(InDb(std::abs(dry) / level), 0.0, 0.01) << hz << " Hz at " << rate;
            }
        }
    }
}

TEST(TubeScreamer808Test, AsItComesProgrammeKeepsItsLoudness) {
    for (const double level : {0.03, 0.06, 0.12}) {
        const Signal in = Programme(88200, level);
        const Signal out = Play(*Make<TubeScreamer808>({}), in, in)[0];
        EXPECT_NEAR(Loudness(out) - Loudness(in), 0.0, 3.0) << "at " << Loudness(in) << " LUFS";
    }
}

TEST(TubeScreamer808Test, AliasesOfAHardDrivenTrebleToneAreFarBelowIt) {
    constexpr double frequency = 5003.0 / 44100.0;
    const Signal tone = Tone(spectrumSize + 8000, frequency, 1.0, 0.5);
    for (const auto& [drive, limit] : {std::pair(30.0F, -61.0), {41.4F, -53.0}}) {
        const auto unit =
            Make<TubeScreamer808>(open, {{TubeScreamer808::Drive, drive}, {TubeScreamer808::Tone, 1.0F}});
        const double alias = StrongestAlias(Spectrum(Play(*unit, tone, tone)[0]), frequency, 0.4535);
        EXPECT_LT(alias, limit) << drive << " dB";
    }
}

TEST(TubeScreamer808Test, DistortionIsOddWithoutBiasAndTheSameAtEveryRate) {
    const Settings loud = {{TubeScreamer808::Drive, 38.0F}};
    const Settings uneven = {{TubeScreamer808::Drive, 38.0F}, {TubeScreamer808::Bias, 0.7F}};
    const std::vector<double> expected = Harmonics(loud, 44100.0F, 500.0, 9);
    const std::vector<double> withBias = Harmonics(uneven, 44100.0F, 500.0, 9);
    EXPECT_LT(InDb(expected[1] / expected[0]), -80.0);
    EXPECT_GT(InDb(expected[2] / expected[0]), -25.0);
    EXPECT_GT(InDb(withBias[1] / withBias[0]), -35.0);
    for (const float rate : {32000.0F, 48000.0F, 96000.0F, 192000.0F}) {
        const std::vector<double> levels = Harmonics(uneven, rate, 500.0, 9);
        for (std::size_t k = 0; k < levels.size(); ++k) {
            EXPECT_NEAR(levels[k] / withBias[0], withBias[k] / withBias[0], 0.003)
                << "harmonic " << k + 1 << " at " << rate;
        }
    }
}

TEST(TubeScreamer808Test, SilenceStaysSilentAndBiasLeavesNoSteadyVoltage) {
    const Signal silent(88200, 0.0F);
    EXPECT_EQ(Play(*Make<TubeScreamer808>({}), silent, silent)[0], silent);
    for (const float bias : {-1.0F, 1.0F}) {
        const auto unit = Make<TubeScreamer808>(open, {{TubeScreamer808::Bias, bias}});
        EXPECT_LT(Peak(Play(*unit, silent, silent)[0], 80000), 1e-5F) << bias;
    }
}

TEST(TubeScreamer808Test, ControlsAreSmoothAndNoneIsIdle) {
    ExpectNoSteps<TubeScreamer808>({{TubeScreamer808::Drive, 22.0F}}, 0.01F);
    ExpectEveryParameterToAct<TubeScreamer808>(
        std::vector<Settings>(TubeScreamer808::parameterCount, {{TubeScreamer808::Level, -10.0F}}));
    ExpectModulationToMove<TubeScreamer808>(
        {TubeScreamer808::Drive, TubeScreamer808::Tone, TubeScreamer808::Level, TubeScreamer808::DryWet},
        open);
}

TEST(TubeScreamer808Test, BlocksResetsAndFaultsLeaveNoTrace) {
    const Settings busy = {{TubeScreamer808::Drive, 40.0F}, {TubeScreamer808::DryWet, 0.6F}};
    const Settings other = {
        {TubeScreamer808::Tone, 1.0F}, {TubeScreamer808::Drive, 22.0F}, {TubeScreamer808::Bias, 1.0F}};
    ExpectNoTraceOfBlocksResetsAndFaults<TubeScreamer808>(busy, other, 250.0F);
}
