// SPDX-License-Identifier: GPL-3.0-or-later
// Every filter of the reference in the time domain against the analogue prototype that it comes from.
#include "reference/Measure.h"
#include "reference/VocoderModel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace orphia_reference {
namespace {

constexpr double rate = 48000.0;
constexpr auto exact = CoefficientMath::Double;

using ResponseFunction = std::function<Complex(double frequencyHz)>;

/// `amplitude` is small where the model saturates; `seconds` covers the slowest decay.
void ExpectSameResponse(const std::string& name, const StepFunction& step, const ResponseFunction& response,
                        double seconds, double amplitude = 1.0, double noiseFloor = 1e-13) {
    const Signal h = ImpulseResponse(step, amplitude, seconds, rate);
    for (const double f : {37.0, 211.0, 997.0, 1850.0, 5003.0, 11000.0, 19000.0}) {
        const Complex expected = response(f);
        const Complex got = Transform(h, f, rate);
        const double tolerance = 1e-7 * std::abs(expected) + noiseFloor;
        EXPECT_LT(std::abs(got - expected), tolerance)
            << name << " at " << f << " Hz: expected " << expected << ", got " << got;
    }
}

TEST(ReferenceFilter, BandFiltersFollowTheirAnaloguePrototypes) {
    const BankPlan moved = SynthesizerPlan(-0.6, 0.8);
    FilterBankModel analyzer;
    FilterBankModel synthesizer;
    analyzer.Design(AnalyzerPlan(), rate, exact);
    synthesizer.Design(moved, rate, exact);
    for (std::size_t band = 0; band < bandCount; ++band) {
        const std::string number = std::to_string(band + 1);
        ExpectSameResponse(
            "analysis band " + number, [&](double x) { return analyzer.StepBand(band, x); },
            [&](double f) { return AnalyzerPlan()[band].Response(f, rate); }, 1.0);
        ExpectSameResponse(
            "synthesis band " + number, [&](double x) { return synthesizer.StepBand(band, x); },
            [&](double f) { return moved[band].Response(f, rate); }, 1.0);
    }
}

TEST(ReferenceFilter, FrontEndFiltersFollowTheirAnaloguePrototypes) {
    PreampModel preamp(rate, 64, exact);
    CarrierPreampModel carrier(rate, 64, exact);
    PreampAnalyzerModel analyzer(rate, exact);
    BalanceModel balance(rate, exact);
    NoiseShapingModel noise(rate, exact);
    OnePole dcBlocker = VocoderChannelModel({rate, 64, exact}, {}, 1).dcBlocker;
    preamp.BeginBlock(-12.0);
    carrier.BeginBlock(-31.0);
    balance.BeginBlock(0.75, false);
    ExpectSameResponse(
        "program preamp", [&](double x) { return preamp.Step(x); },
        [](double f) { return PreampModel::Response(-12.0, f, rate); }, 4.0);
    ExpectSameResponse(
        "carrier preamp", [&](double x) { return carrier.Step(x); },
        [](double f) { return CarrierPreampModel::Response(-31.0, f, rate); }, 1.0);
    ExpectSameResponse(
        "preamp analyzer", [&](double x) { return analyzer.Step(x); },
        [](double f) { return PreampAnalyzerModel::Response(f, rate); }, 0.5);
    ExpectSameResponse(
        "noise path of the balance, three quarters towards the carrier",
        [&](double x) { return balance.Step(0.0, x).noise; },
        [](double f) { return 0.5 * BalanceModel::Response(f, rate); }, 1.0);
    ExpectSameResponse(
        "noise shaping", [&](double x) { return noise.Step(x); },
        [](double f) { return NoiseShapingModel::Response(f, rate); }, 1.0);
    ExpectSameResponse(
        "output DC blocker", [&](double x) { return dcBlocker.Step(x); },
        [](double f) { return VocoderChannelModel::DcBlockerResponse(f, rate); }, 4.0);
}

TEST(ReferenceFilter, RectifiersAndHfChannelFollowTheirPrototypesWhereTheyAreLinear) {
    // For inputs of one sign the rectifier is linear around its bias, so a pulse on top of a steady
    // input shows the two smoothing filters.
    for (const RectifierCircuit& circuit : {RectifierCircuit::LowestBand(), RectifierCircuit::OtherBands()}) {
        RectifierFollowerModel follower(circuit, rate, exact);
        const double rest = Settle([&](double x) { return follower.Step(x).direct; }, 2.0, 4.0, rate);
        const double scale = circuit.gainPositive * -circuit.currentToVoltage * 0.0001327;
        ExpectSameResponse(
            "rectifier", [&](double x) { return (follower.Step(2.0 + x).direct - rest) / scale; },
            [&](double f) { return circuit.Response(f, rate); }, 3.0, 1.0, 1e-10);
    }
    HissBuzzFollowerModel hissBuzz(rate, exact);
    ExpectSameResponse(
        "discriminator follower", [&](double x) { return hissBuzz.Step(x) / 0.9976; },
        [](double f) { return HissBuzzFollowerModel::Response(f, rate); }, 1.0);

    HfSettings settings;
    settings.mode = 1;
    settings.level = 0.7;
    HfChannelModel hf(settings, rate, exact);
    hf.BeginBlock(settings, 1591.5494, 17.683884);
    Settle([&](double x) { return hf.Step(x, 15.0); }, 0.0, 0.1, rate);
    ExpectSameResponse(
        "high-frequency path", [&](double x) { return hf.Step(x, 15.0); },
        [&](double f) { return HfChannelModel::OpenResponse(settings, f, rate); }, 0.2, 1e-9);
}

TEST(ReferenceFilter, SixteenBandsLieWhereTheTableSays) {
    const double stages[bandCount][2] = {
        {191.5694, 191.5694},   {162.7164, 195.7520},   {205.0099, 246.6320},   {258.2963, 310.7369},
        {325.4329, 391.5039},   {410.0198, 493.2641},   {516.5925, 621.4738},   {650.8658, 783.0079},
        {820.0396, 986.5281},   {1033.1851, 1242.9475}, {1301.7316, 1566.0157}, {1640.0791, 1973.0563},
        {2066.3701, 2485.8950}, {2603.4631, 3132.0315}, {3280.1582, 3946.1125}, {4132.7402, 4971.7900}};
    const BankPlan analyzer = AnalyzerPlan();
    const BankPlan synthesizer = SynthesizerPlan(0.0, 0.0);
    for (std::size_t band = 0; band < bandCount; ++band) {
        for (std::size_t stage = 0; stage < 2; ++stage) {
            const double expected = stages[band][stage];
            EXPECT_NEAR(analyzer[band].fc[stage], expected, 1e-6 * expected) << "band " << band + 1;
            EXPECT_NEAR(synthesizer[band].fc[stage], expected, 1e-6 * expected) << "band " << band + 1;
        }
        EXPECT_NEAR(analyzer[band].q, band == 0 ? 0.7416 : 7.563376, 1e-5) << "band " << band + 1;
    }
    // The two stages, each on its flank at the centre, make up for what they lose there.
    EXPECT_NEAR(std::abs(analyzer[9].Response(1133.2231, rate)), 1.06, 0.02);
    EXPECT_NEAR(SynthesizerPlan(1.0, 0.0)[15].fc[0] / analyzer[15].fc[0], 228.0 / 159.0, 1e-9);
    EXPECT_NEAR(SynthesizerPlan(0.0, -1.0)[5].fc[1] / analyzer[5].fc[1], 0.93, 1e-9);
}

TEST(ReferenceFilter, CoarserCoefficientsStayNearTheExactOnes) {
    const BiquadCircuit slow = RectifierCircuit::LowestBand().biquad;
    const double exactGain = 1.0;
    for (const CoefficientMath math : {CoefficientMath::RoundedToSingle, CoefficientMath::Single}) {
        Biquad section;
        section.Design(slow, rate, math, false);
        const double dc = (section.b0 + section.b1 + section.b2) / (section.a0 + section.a1 + section.a2);
        EXPECT_NEAR(dc, exactGain, 0.35) << "a corner of 8 Hz is at the edge of what floats can hold";
        EXPECT_NE(dc, exactGain);
        FilterBankModel bank;
        bank.Design(AnalyzerPlan(), rate, math);
        const Signal h = ImpulseResponse([&](double x) { return bank.StepBand(9, x); }, 1.0, 0.5, rate);
        const double expected = std::abs(AnalyzerPlan()[9].Response(1133.2231, rate));
        EXPECT_NEAR(std::abs(Transform(h, 1133.2231, rate)), expected, 1e-3 * expected);
    }
}

} // namespace
} // namespace orphia_reference
