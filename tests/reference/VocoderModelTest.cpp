// SPDX-License-Identifier: GPL-3.0-or-later
// The assembled reference channel and the stereo pair against closed forms.
#include "reference/VocoderModel.h"

#include "reference/Measure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace orphia_reference {
namespace {

constexpr double rate = 48000.0;
constexpr auto exact = CoefficientMath::Double;
constexpr double pi = std::numbers::pi;

TEST(VocoderModel, FrozenChannelIsALinearFilterOfItsCarrier) {
    const ModelSetup setup{rate, 64, exact};
    VocoderParameters p;
    p.shift = 0.3;
    p.width = -0.4;
    p.balance = 1.0;
    p.hf.level = 0.0;
    VocoderChannelModel channel(setup, p, 1);
    const Signal program = Sine(620.0, 0.05, 0.3, rate);
    const Signal quiet(64, 0.0);
    for (std::size_t start = 0; start + 64 <= program.size(); start += 64) {
        const auto first = program.begin() + static_cast<std::ptrdiff_t>(start);
        channel.Process(p, quiet, Signal(first, first + 64));
    }
    p.patch.sampleHold = true;
    channel.Process(p, quiet, quiet);
    BandValues controls{};
    for (std::size_t band = 0; band < bandCount; ++band) {
        controls[band] = channel.patchBay.Output(0, band)[0];
    }
    ASSERT_GT(controls[6], 1e-5) << "the band around 620 Hz must be open";
    constexpr double amplitude = 1e-7;
    Signal h;
    for (int block = 0; block < 3000; ++block) {
        Signal carrier = quiet;
        carrier[0] = block == 0 ? amplitude : 0.0;
        channel.Process(p, carrier, quiet);
        for (const double y : channel.signals.output) {
            h.push_back(y / amplitude);
        }
    }
    for (const double f : {100.0, 450.0, 800.0, 3000.0}) {
        const Complex expected = VocoderChannelModel::FrozenResponse(p, controls, f, rate);
        EXPECT_LT(std::abs(Transform(h, f, rate) - expected), 1e-4 * std::abs(expected))
            << f << " Hz: expected " << expected << ", got " << Transform(h, f, rate);
    }
}

TEST(VocoderModel, SilentCarrierLeavesTheHighFrequencyPathInverted) {
    VocoderParameters p;
    p.balance = 1.0;
    p.hf.mode = 1;
    p.hf.level = 0.5;
    p.programLevelDb = -10.0;
    VocoderChannelModel channel({rate, 64, exact}, p, 1);
    const Signal quiet(64, 0.0);
    constexpr double amplitude = 1e-9;
    Signal h;
    for (int block = -100; block < 300; ++block) {
        Signal modulator = quiet;
        modulator[0] = block == 0 ? amplitude : 0.0;
        channel.Process(p, quiet, modulator);
        for (const double y : channel.signals.output) {
            h.push_back(y / amplitude);
        }
    }
    h.erase(h.begin(), h.begin() + 100 * 64);
    for (const double f : {2000.0, 6000.0, 14000.0}) {
        const Complex expected =
            -PreampModel::Response(-10.0, f, rate) * PreampAnalyzerModel::Response(f, rate) *
            HfChannelModel::OpenResponse(p.hf, f, rate) * VocoderChannelModel::DcBlockerResponse(f, rate);
        EXPECT_LT(std::abs(Transform(h, f, rate) - expected), 1e-5 * std::abs(expected))
            << f << " Hz: expected " << expected << ", got " << Transform(h, f, rate);
    }
}

TEST(VocoderModel, UnvoicedModeSelectsTheGatesAndNoiseMixTheBus) {
    const Signal quiet(64, 0.0);
    const double open = GateModel::Current(-15.0);
    VocoderParameters p;
    p.discriminator.trimmer = 0.0; // silence reads as unvoiced
    p.balance = 0.0;
    p.gates.noiseAttack = 40.5;
    for (const int mode : {0, 1}) {
        p.unvoicedMode = mode;
        p.noiseMix = mode == 1;
        VocoderChannelModel channel({rate, 64, exact}, p, 99);
        channel.Process(p, Signal(64, 0.5), quiet);
        const double fc = mode == 0 ? 1591.5494 : 40.5;
        const double expected = open * (1.0 - std::exp(-2.0 * pi * fc * 64.0 / rate));
        EXPECT_NEAR(channel.noiseGateLevel, expected, 0.02 * expected) << "mode " << mode;
        EXPECT_GT(channel.carrierGate.gate, 0.999 * open) << "the carrier gate is always fast and open";
        const ChannelSignals& s = channel.signals;
        EXPECT_GT(Peak(p.noiseMix ? s.carrierBus : s.noiseBus), 1e-2) << "noise must be heard";
        EXPECT_EQ(Peak(p.noiseMix ? s.noiseBus : s.carrierBus), 0.0) << "the other bus must be empty";
    }
}

TEST(VocoderModel, LightsMetersAndDryPathOfTheStereoAssembly) {
    const ModelSetup setup{rate, 64, exact};
    VocoderParameters p;
    p.wet = 0.0;
    p.programLevelDb = -20.0;
    const Signal tone = Sine(1133.2231, 0.2, 0.5, rate);
    const Signal silence(tone.size(), 0.0);
    StereoVocoderModel dry(setup, p, 1, 2);
    const StereoSignal out = dry.Render({silence, silence}, {tone, silence});
    const double peak = Peak(out.left, out.left.size() / 2);
    const double preamp = 0.2 * std::abs(PreampModel::Response(-20.0, 1133.2231, rate));
    EXPECT_NEAR(peak, preamp * 0.057048 * 0.3162, 1e-3 * peak);
    EXPECT_EQ(Peak(out.right), 0.0) << "channels must not mix";

    // Mean of a rectified sine, less the dead zone; less ripple than the tolerance.
    const double band = preamp * std::abs(PreampAnalyzerModel::Response(1133.2231, rate) *
                                          AnalyzerPlan()[9].Response(1133.2231, rate));
    const double volts = band * 2.0 / pi * 0.9982 - 0.0074813;
    EXPECT_NEAR(dry.lights.bandMeters[9], volts * 0.0001327 * 753.57947, 0.01 * dry.lights.bandMeters[9]);
    EXPECT_NEAR(dry.lights.buzz, 1.0, 1e-6);
    EXPECT_NEAR(dry.lights.hiss, 0.0, 1e-6);

    p.discriminator.trimmer = 0.0;
    StereoVocoderModel unvoiced(setup, p, 1, 2);
    unvoiced.Render({silence, silence}, {silence, silence});
    EXPECT_NEAR(unvoiced.lights.hiss, 1.0, 1e-4);
    EXPECT_LT(unvoiced.lights.buzz, 1e-4);
}

} // namespace
} // namespace orphia_reference
