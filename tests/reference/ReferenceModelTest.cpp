// SPDX-License-Identifier: GPL-3.0-or-later
// The reference modules against values worked out by hand. Only a reference that passes here is worth
// comparing the engine with.
#include "reference/MappingModel.h"
#include "reference/Measure.h"
#include "reference/VocoderModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orphia_reference {
namespace {

constexpr double rate = 48000.0;
constexpr auto exact = CoefficientMath::Double;
constexpr double pi = std::numbers::pi;

TEST(ReferenceModel, ChangedShiftMakesOneStepAndThenStays) {
    SynthesizerBankModel bank(0.0, 0.0, rate, 64.0, exact);
    const double oneStep = 1.0 - std::exp(-5.0 * 64.0 / (rate * 0.015));
    for (int block = 0; block < 3; ++block) {
        bank.UpdateBlock(1.0, 0.0, false);
        EXPECT_NEAR(bank.bank.plan[1].fc[0], SynthesizerPlan(oneStep, 0.0)[1].fc[0], 1e-9) << block;
    }
    for (int block = 0; block < 200; ++block) {
        bank.UpdateBlock(1.0, 0.0, true);
    }
    EXPECT_NEAR(bank.bank.plan[1].fc[0], SynthesizerPlan(1.0, 0.0)[1].fc[0], 1e-9);
}

TEST(ReferenceModel, RectifierSettlesAtItsGainLessTheDeadZone) {
    struct Case {
        RectifierCircuit circuit;
        double positive, negative, deadZone;
    };
    for (const Case& c : {Case{RectifierCircuit::OtherBands(), 0.9976, 0.9988, 0.0074813},
                          Case{RectifierCircuit::LowestBand(), 1.0054, 0.99736, 0.014985}}) {
        for (const double x : {3.0, -3.0, 0.5, 0.0, 0.005}) {
            RectifierFollowerModel follower(c.circuit, rate, exact);
            follower.SetTimes(0.001, 0.01);
            const double volts = std::abs(x) * (x > 0.0 ? c.positive : c.negative) - c.deadZone;
            const double expected = std::max(volts, 0.0) * 0.0001327;
            EXPECT_NEAR(Settle([&](double v) { return follower.Step(v).envelope; }, x, 2.0, rate), expected,
                        2e-5 * 0.0001327 * 3.0)
                << "input " << x;
        }
    }
}

TEST(ReferenceModel, EnvelopeReachesOneOverEAfterItsTimes) {
    AttackReleaseModel follower;
    follower.Prepare(0.01, 0.1, rate);
    for (int n = 0; n < 480; ++n) {
        follower.Step(1.0);
    }
    EXPECT_NEAR(follower.level, 1.0 - std::exp(-1.0), 1e-9);
    const double top = follower.level;
    for (int n = 0; n < 4800; ++n) {
        follower.Step(0.0);
    }
    EXPECT_NEAR(follower.level, top * std::exp(-1.0), 1e-9);
    Settle([&](double v) { return follower.Step(v); }, 0.0, 8.0, rate);
    EXPECT_EQ(follower.level, 0.0) << "the tail is cut, not merely small";
}

TEST(ReferenceModel, GateSettlesOpensAndClosesWithoutAStep) {
    GateModel gate = GateModel::ForBus(rate, exact);
    gate.SetCorners(200.0, 2.0);
    const auto runGate = [&](double c) {
        gate.Step(0.0, c);
        return gate.gate;
    };
    const double open = Settle(runGate, -15.0, 0.2, rate);
    EXPECT_NEAR(open, 0.00032017, 5e-9);
    EXPECT_NEAR(open * 20000.0, 6.4034, 5e-5);
    // The input falls to nothing at once, so the first sample carries half a step of the release.
    const double t = std::tan(pi * 2.0 / rate);
    double previous = runGate(15.0);
    EXPECT_NEAR(previous / open, 1.0 - t / (1.0 + t), 1e-9);
    for (int n = 0; n < static_cast<int>(rate / (2.0 * pi * 2.0)); ++n) {
        const double now = runGate(15.0);
        ASSERT_LT(std::abs(now - previous), 4e-4 * open) << "step of the closing gate at sample " << n;
        previous = now;
    }
    EXPECT_NEAR(previous, open * std::exp(-1.0), 1e-3 * open);
    const double closed = previous;
    for (int n = 0; n < static_cast<int>(rate / (2.0 * pi * 200.0)); ++n) {
        previous = runGate(-15.0);
    }
    EXPECT_NEAR((open - previous) / (open - closed), std::exp(-1.0), 0.02);
    // The knee of the current and of the limiter are continuous, and the limiter is a tanh.
    EXPECT_NEAR(GateModel::Current(-1.7626 - 1e-9), GateModel::Current(-1.7626), 1e-9);
    EXPECT_NEAR(GateModel::Current(-0.679963 - 1e-9), 0.0, 1e-9);
    for (const double v : {-2.5, -1.0, -0.2, 0.0, 0.4, 0.999999, 1.000001, 1.999999, 2.000001, 3.0}) {
        EXPECT_NEAR(GateModel::Limiter(v), std::tanh(v), 0.02) << "limiter at " << v;
    }
    EXPECT_NEAR(GateModel::Limiter(1.0), std::tanh(1.0), 1e-7);
    EXPECT_NEAR(GateModel::Limiter(2.0), std::tanh(2.0), 1e-6);
}

TEST(ReferenceModel, VcaSaturatesTheBusAndNotTheControl) {
    const VcaModel vca{1.0};
    EXPECT_NEAR(vca.SmallSignalGain(), 28700.537, 1e-2);
    EXPECT_NEAR(vca.Step(1e-6, 0.0, 2.0, 0.0), 2e-6 * vca.SmallSignalGain(), 1e-9);
    EXPECT_DOUBLE_EQ(vca.Step(1e3, 0.0, 0.5, 0.0), 0.5 * 100000.0);
    EXPECT_DOUBLE_EQ(VcaModel{-1.0}.Step(1.0, 2.0, 0.3, 0.4), -vca.Step(1.0, 2.0, 0.3, 0.4));
    EXPECT_EQ(VcaModel::PolarityOfBand(0), -1.0);
    EXPECT_EQ(VcaModel::PolarityOfBand(15), 1.0);
}

TEST(ReferenceModel, PreampsClipAndLightAsTheyShould) {
    CarrierPreampModel carrier(rate, 64, exact);
    PreampModel program(rate, 64, exact);
    carrier.BeginBlock(0.0);
    program.BeginBlock(0.0);
    const Signal tone = Sine(1000.0, 1.0, 1.5, rate);
    double carrierPeak = 0.0;
    double programPeak = 0.0;
    for (std::size_t n = 0; n < tone.size(); ++n) {
        carrierPeak = std::max(carrierPeak, std::abs(carrier.Step(tone[n])));
        const double magnitude = std::abs(program.Step(tone[n]));
        // The onset leaves an offset that takes a second to drain.
        programPeak = n < tone.size() / 4 * 3 ? 0.0 : std::max(programPeak, magnitude);
    }
    EXPECT_EQ(carrierPeak, 13.5);
    EXPECT_NEAR(programPeak, std::abs(PreampModel::Response(0.0, 1000.0, rate)), 0.02);
    EXPECT_GT(programPeak, 48.0) << "no clip in the program preamp";

    OverloadModel light(rate, 64);
    light.EndBlock(Signal(64, -9.3125 - 0.5));
    EXPECT_NEAR(light.value, 0.5 * (1.0 - std::exp(-5.0 * 64.0 * 141.0 / rate)), 1e-12);
    for (int block = 0; block < 50; ++block) {
        light.EndBlock(Signal(64, 40.0));
    }
    EXPECT_EQ(light.value, 1.0);
    for (int block = 0; block < 100; ++block) {
        light.EndBlock(Signal(64, 9.3125));
    }
    EXPECT_EQ(light.value, 0.0);
}

TEST(ReferenceModel, DiscriminatorSplitsAtItsCornerAndItsTrimmerDecidesOnSilence) {
    EXPECT_EQ(DiscriminatorModel::Trim(0.5), 0.0);
    EXPECT_NEAR(DiscriminatorModel::Trim(0.0), -0.070484, 1e-12);
    EXPECT_NEAR(DiscriminatorModel::Trim(1.0), 0.070484, 1e-12);
    const auto decide = [](double trimmer, const Signal& program) {
        DiscriminatorModel discriminator(rate, exact);
        DiscriminatorSettings settings;
        settings.trimmer = trimmer;
        discriminator.BeginBlock(settings);
        double line = 0.0;
        for (const double x : program) {
            line = discriminator.Step(x);
        }
        return line;
    };
    DiscriminatorModel followers(rate, exact);
    followers.BeginBlock({});
    Settle([&](double x) { return followers.Step(x); }, 2.0, 0.5, rate);
    EXPECT_NEAR(followers.lowEnvelope, 2.0 * 1.5909 * 0.9976, 1e-4);
    EXPECT_NEAR(followers.highEnvelope, 0.0, 1e-9);
    EXPECT_EQ(decide(0.5, Signal(4800, 0.0)), 15.0);
    EXPECT_EQ(decide(0.4, Signal(4800, 0.0)), -15.0);
    EXPECT_EQ(decide(0.5, Sine(400.0, 2.0, 0.2, rate)), 15.0);
    EXPECT_EQ(decide(0.5, Sine(6000.0, 2.0, 0.2, rate)), -15.0);
    EXPECT_EQ(decide(0.999, Sine(6000.0, 0.01, 0.2, rate)), 15.0) << "the trimmer outweighs a weak hiss";
}

TEST(ReferenceModel, PatchBayBypassesRoutesAndHolds) {
    PatchBayModel bay(8);
    PatchSettings settings;
    const auto fill = [&](double value) {
        for (std::size_t band = 0; band < bandCount; ++band) {
            for (std::size_t lane = 0; lane < 2; ++lane) {
                bay.Source(lane, band).assign(8, value * static_cast<double>(band + 1 + 100 * lane));
            }
        }
    };
    const auto read = [&](std::size_t lane, std::size_t band) { return bay.Output(lane, band)[0]; };
    settings.gainBand[2] = 0.5;
    settings.Connect(2, 7, 0.25);
    settings.Connect(4, 7, 1.0);
    settings.Connect(5, 9, -1.0);
    EXPECT_EQ(read(1, 3), 0.0) << "nothing was rendered yet";
    fill(1.0);
    bay.Process(settings, 8);
    EXPECT_EQ(read(0, 2), 1.5);
    EXPECT_EQ(read(1, 7), 108.0) << "routes have no effect until the panel is activated";
    settings.activated = true;
    fill(1.0);
    bay.Process(settings, 8);
    EXPECT_EQ(read(0, 7), 0.5 * 3.0 * 0.25 + 5.0);
    EXPECT_EQ(read(1, 7), 0.5 * 103.0 * 0.25 + 105.0);
    EXPECT_EQ(read(0, 9), 0.0) << "a negative amount does not switch a route on";
    settings.sampleHold = true;
    fill(2.0);
    bay.Process(settings, 8);
    EXPECT_EQ(read(0, 7), 0.5 * 3.0 * 0.25 + 5.0) << "a route holds the block before";
    settings.sampleHold = false;
    settings.activated = false;
    fill(3.0);
    bay.Process(settings, 8);
    EXPECT_EQ(read(0, 7), 24.0);
    settings.sampleHold = true;
    bay.Source(0, 7).assign({1, 2, 3, 4, 5, 6, 7, 99});
    bay.Process(settings, 4);
    EXPECT_EQ(read(0, 7), 99.0) << "the hold reads the end of the whole buffer, not of the block";
}

TEST(ReferenceModel, NoiseFollowsTheKnownXorshiftSequence) {
    WhiteNoiseModel noise{1};
    for (const std::uint32_t expected : {270369U, 67634689U, 2647435461U, 307599695U}) {
        const float sample = noise.NextFloat();
        EXPECT_EQ(noise.state, expected);
        EXPECT_NEAR(static_cast<double>(sample), expected / 2147483648.0 - 1.0, 1.2e-7);
    }
}

TEST(ReferenceModel, KnobLawsRunBackAndForth) {
    EXPECT_NEAR(attackLaw.ToReal(0.0), 0.001, 1e-15);
    EXPECT_NEAR(releaseLaw.ToReal(1.0), 30.0, 1e-12);
    EXPECT_NEAR(levelLaw.ToReal(0.5), -75.0 + 75.0 * (1.0 - std::exp(-1.5)) / (1.0 - std::exp(-3.0)), 1e-9);
    for (const KnobLaw& law : {levelLaw, attackLaw, releaseLaw, bipolarLaw}) {
        EXPECT_NEAR(law.ToPosition(law.ToReal(0.3)), 0.3, 1e-12);
        EXPECT_NEAR(law.Offset(law.ToReal(0.3), 0.9), law.maximum, 1e-12);
    }
}

} // namespace
} // namespace orphia_reference
