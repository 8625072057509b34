// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/TubeScreamer808.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using Overdrive = Velmora::dsp::TubeScreamer808;
using Velmora::Test::Complex;
using Velmora::Test::pi;

constexpr double leak = 2.52e-9;
constexpr double heat = 1.752 * 0.02585;

double InDb(double ratio) { return 20.0 * std::log10(ratio); }
float InDb(float ratio) { return 20.0F * std::log10(ratio); }

/// The clipping stage by the trapezoidal rule in small steps, each solved by Newton's method.
struct Clipper {
    double ohms;
    double bias;
    double ground = 0.0;
    double across = 0.0;
    double lastCurrent = 0.0;

    double Flow(double current, double v) const {
        return current + bias - v / ohms - 2.0 * leak * std::sinh(v / heat);
    }
    double Step(double volts, double seconds) {
        constexpr double rg = 4.7e3;
        constexpr double cg = 47e-9;
        constexpr double cf = 51e-12;
        const double half = 0.5 * seconds;
        const double charge = (ground + half * (lastCurrent + volts / rg) / cg) / (1.0 + half / (rg * cg));
        const double current = (volts - charge) / rg;
        double v = across;
        double move = 1.0;
        for (int i = 0; i < 60 && std::abs(move) > 1e-12; ++i) {
            const double error = v - across - half * (Flow(current, v) + Flow(lastCurrent, across)) / cf;
            const double slope = 1.0 + half * (1.0 / ohms + 2.0 * leak / heat * std::cosh(v / heat)) / cf;
            move = std::clamp(error / slope, -0.05, 0.05);
            v -= move;
        }
        ground = charge;
        lastCurrent = current;
        across = v;
        return volts + v;
    }
};

/// The tone stage by Kirchhoff's law at its nodes, with the wiper at a share of its pot.
Complex ToneOfTheNodes(double share, double hz) {
    const Complex s(0.0, 2.0 * pi * hz);
    const double atInput = 1.0 / (20e3 * share + 1e-3);
    const double atFeedback = 1.0 / (20e3 * (1.0 - share) + 1e-3);
    const Complex toGround = 1.0 / (220.0 + 1.0 / (s * 0.22e-6));
    // The wiper for 1 V at the op-amp.
    const Complex wiper = (atInput + atFeedback) / (atInput + atFeedback + toGround);
    return (1.0 + 1e3 * (1.0 - wiper) * atFeedback) /
           (1.0 + 1e3 * (1e-4 + s * 0.22e-6 + (1.0 - wiper) * atInput));
}

/// Harmonics of a tone behind one side of the unit.
std::vector<Complex> Harmonics(const Settings& settings, double rate, double hz, double level, int count) {
    const auto frames = static_cast<std::size_t>(rate) / 10;
    const Signal tone = Tone(4 * frames, hz, rate, level);
    const Signal out = Play(*Make<Overdrive>(settings, {}, static_cast<float>(rate)), tone, tone)[1];
    const Signal steady(out.end() - static_cast<std::ptrdiff_t>(frames), out.end());
    std::vector<Complex> harmonics;
    for (int k = 1; k <= count; ++k) {
        harmonics.push_back(Transform(steady, k * hz, rate) * 2.0 / static_cast<double>(frames));
    }
    return harmonics;
}

} // namespace

TEST(TubeScreamer808Test, TonesComeOutAsTheCircuitHasThemAtEveryRate) {
    struct Case {
        double hz, level, ohms, bias, tone, share, lowCut;
    };
    // Full scale is 0.2 V in; full bias is 20 uA; the pot has a taper.
    for (const Case& c : {Case{100, 1e-4, 60e3, 0, 0.5, 0.5, 300},
                          {8000, 1e-4, 500e3, 0, 0, 0, 20},
                          {3000, 1e-4, 500e3, 0, 1, 1, 20},
                          {1000, 1e-4, 60e3, 0, 0.25, 0.1, 20},
                          {500, 0.25, 370e3, 0, 0.5, 0.5, 20},
                          {500, 0.25, 370e3, 0.7, 0.5, 0.5, 20},
                          {110, 1.0, 551e3, -0.3, 0.75, 0.9, 100}}) {
        for (const double rate : {44100.0, 96000.0, 192000.0}) {
            const Settings settings = {{Overdrive::Level, 0.0F},
                                       {Overdrive::Drive, InDb(1.0F + float(c.ohms) / 4.7e3F)},
                                       {Overdrive::Bias, float(c.bias)},
                                       {Overdrive::Tone, float(c.tone)},
                                       {Overdrive::LowCut, float(c.lowCut)}};
            const auto got = Harmonics(settings, rate, c.hz, c.level, 5);
            const Complex dry = Harmonics({{Overdrive::DryWet, 0.0F}}, rate, c.hz, c.level, 1)[0];
            EXPECT_NEAR(InDb(std::abs(dry) / c.level), 0.0, 0.01) << c.hz << " Hz at " << rate;
            Clipper clipper{c.ohms, c.bias * 20e-6};
            std::vector<Complex> expected(got.size());
            constexpr int steps = 4000;
            // What keeps programme as loud as at a drive of 30 dB: a full scale sample is so many volts.
            const auto loudness = [](double drive) {
                return 0.13 + 1.0 / std::hypot(1.0, 1.0 / (0.051 * drive));
            };
            const double fullScale = 0.104 * loudness(1.0 + c.ohms / 4.7e3) / loudness(std::pow(10.0, 1.5));
            const Complex s(0.0, 2.0 * pi * c.hz);
            const Complex thin = s / (s + 2.0 * pi * c.lowCut) * 0.2 * c.level;
            for (int n = -40 * steps; n < 2 * steps; ++n) {
                const double turn = 2.0 * pi * n / steps;
                const double volts =
                    clipper.Step(std::imag(thin * std::polar(1.0, turn)), 1.0 / (c.hz * steps));
                for (std::size_t k = 0; n >= 0 && k < expected.size(); ++k) {
                    expected[k] += volts * std::polar(1.0 / steps, -turn * static_cast<double>(k + 1));
                }
            }
            for (std::size_t k = 0; k < expected.size(); ++k) {
                const double hz = c.hz * static_cast<double>(k + 1);
                const double fundamental = std::abs(expected[0] * ToneOfTheNodes(c.share, c.hz)) / fullScale;
                const Complex wanted =
                    expected[k] * ToneOfTheNodes(c.share, hz) / fullScale / Complex(1.0, -8.0 / hz);
                EXPECT_NEAR(std::abs(got[k]), std::abs(wanted), fundamental * (hz > 5000.0 ? 0.05 : 0.01))
                    << c.hz << " Hz, harmonic " << k + 1 << " at " << rate;
                EXPECT_TRUE(k > 0 || std::abs(std::arg(got[0] / dry / (wanted * Complex(0.0, 1.0)))) < 0.08)
                    << "the dry sound is in time";
            }
        }
    }
}

TEST(TubeScreamer808Test, AliasesOfAHardDrivenTrebleToneAreFarBelowItAndSilenceStaysSilent) {
    struct Case {
        double hz, tone, drive, limit;
    };
    for (const Case& c :
         {Case{2503, 0.5, 30, -84}, {5003, 0.5, 30, -56}, {5003, 1, 30, -61}, {5003, 1, 41.4, -53}}) {
        const Signal tone = Tone(spectrumSize + 8000, c.hz, 44100.0, 0.5);
        const auto unit = Make<Overdrive>({{Overdrive::Drive, c.drive}, {Overdrive::Tone, c.tone}});
        EXPECT_LT(StrongestAlias(Spectrum(Play(*unit, tone, tone)[0]), c.hz / 44100.0, 0.4535), c.limit)
            << c.hz;
    }
    const Signal silent(88200, 0.0F);
    EXPECT_EQ(Play(*Make<Overdrive>({}), silent, silent)[0], silent);
    const auto biased = Make<Overdrive>({{Overdrive::Level, 0.0F}, {Overdrive::Bias, 1.0F}});
    EXPECT_LT(Peak(Play(*biased, silent, silent)[0], 80000), 1e-5F) << "no steady voltage";
}
