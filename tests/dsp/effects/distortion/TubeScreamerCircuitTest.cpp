// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/distortion/TubeScreamerCircuit.h"

#include "dsp/effects/distortion/TubeScreamerNodes.h"
#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using Velmora::dsp::DiodeClipper;
using Velmora::dsp::TubeScreamerTone;
using Velmora::dsp::simd::Float4;

constexpr double rate = 176400.0;

/// The clipping stage by the trapezoidal rule at many times the rate, each step solved by Newton's method.
class Reference {
public:
    Reference(double feedbackOhms, double biasAmperes) : ohms(feedbackOhms), bias(biasAmperes) {}

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

private:
    static constexpr double leak = 2.52e-9;
    static constexpr double heat = 1.752 * 0.02585;

    double Flow(double current, double v) const {
        return current + bias - v / ohms - 2.0 * leak * std::sinh(v / heat);
    }

    double ohms;
    double bias;
    double ground = 0.0;
    double across = 0.0;
    double lastCurrent = 0.0;
};

} // namespace

TEST(TubeScreamerCircuitTest, DiodesAtRestStandWhereTheirCurrentIsTheSteadyOne) {
    for (const double clipperRate : {32000.0, rate, 384000.0}) {
        for (const float ohms : {51e3F, 200e3F, 551e3F}) {
            for (const float amperes : {1e-9F, 1e-7F, -1e-6F, 5e-6F, -3e-5F, 2e-4F}) {
                DiodeClipper clipper;
                clipper.Prepare(clipperRate);
                clipper.Reset();
                clipper.Aim(ohms, amperes);
                float volts = 0.0F;
                for (int n = 0; n < 4000; ++n) {
                    volts = clipper.Tick(Float4(0.0F)).get(0);
                }
                const auto v = static_cast<double>(volts);
                const double flows = v / static_cast<double>(ohms) + 2.0 * 2.52e-9 * std::sinh(v / 0.0452892);
                const double conductance =
                    1.0 / static_cast<double>(ohms) + 2.0 * 2.52e-9 / 0.0452892 * std::cosh(v / 0.0452892);
                // In volts: what the current is wrong by, by the steepness of the curve.
                EXPECT_NEAR((flows - static_cast<double>(amperes)) / conductance, 0.0, 2e-5)
                    << amperes << " A, " << ohms << " ohms at " << clipperRate;
            }
        }
    }
}

TEST(TubeScreamerCircuitTest, ClippingFollowsTheDifferentialEquationOfTheCircuit) {
    constexpr int finesse = 12;
    constexpr int settled = 400;
    for (const double hz : {110.0, 1000.0, 5000.0}) {
        for (const double peak : {0.002, 0.1, 2.0}) {
            for (const float ohms : {51e3F, 551e3F}) {
                DiodeClipper clipper;
                clipper.Prepare(rate);
                clipper.Reset();
                clipper.Aim(ohms, 3e-6F);
                Reference reference(static_cast<double>(ohms), 3e-6);
                double error = 0.0;
                double power = 0.0;
                for (int n = 0; n < 1200; ++n) {
                    const auto volts = [&](double at) {
                        return peak * std::sin(2.0 * std::numbers::pi * hz * at / rate);
                    };
                    double expected = 0.0;
                    for (int k = 1; k <= finesse; ++k) {
                        expected = reference.Step(volts(n - 1 + k / static_cast<double>(finesse)),
                                                  1.0 / (rate * finesse));
                    }
                    const auto in = static_cast<float>(volts(n));
                    const Float4 got = clipper.Tick({in, in, in, in});
                    if (n > settled) {
                        error += std::pow(static_cast<double>(got.get(1)) - expected, 2.0);
                        power += expected * expected;
                    }
                }
                // The edges, which are over in a step, are late by a part of it.
                EXPECT_LT(std::sqrt(error / power), 1e-3 + 7e-6 * hz)
                    << hz << " Hz, " << peak << " V, " << ohms << " ohms";
            }
        }
    }
}

TEST(TubeScreamerCircuitTest, ToneIsThatOfTheNetworkAtEndsAndMiddleAndRisesBetween) {
    double before = 0.0;
    for (const float position : {0.0F, 0.25F, 0.5F, 0.75F, 1.0F}) {
        TubeScreamerTone tone;
        tone.Prepare(rate);
        tone.Aim(position);
        Signal response;
        for (int n = 0; n < 12000; ++n) {
            response.push_back(tone.Tick(Float4(n == 0 ? 1.0F : 0.0F)).get(0));
        }
        const double treble = std::abs(Transform(response, 3000.0, rate));
        EXPECT_GT(treble, before * 1.04) << position;
        before = treble;
        if (position != 0.0F && position != 0.5F && position != 1.0F) {
            continue;
        }
        for (const double hz : {20.0, 200.0, 700.0, 2000.0, 6000.0, 15000.0}) {
            const std::complex<double> ratio =
                Transform(response, hz, rate) / ToneOfTheNodes(static_cast<double>(position), hz);
            EXPECT_NEAR(20.0 * std::log10(std::abs(ratio)), 0.0, hz > 10000.0 ? 0.25 : 0.05)
                << position << ", " << hz;
        }
    }
}
