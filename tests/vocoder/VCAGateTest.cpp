// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/VCAGate.h"

#include "StageRig.h"

#include <utility>

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

namespace {

/// A gate whose shape sees the signal at unity gain.
std::unique_ptr<VCAGate> MakeGate(float attackHz, float releaseHz, double sampleRate = 48000.0) {
    auto gate = MakeStage<VCAGate>(sampleRate);
    gate->SetParameterValue(VCAGate::Pot, 0.0F);
    gate->SetParameterValue(VCAGate::FcGateAttack, attackHz);
    gate->SetParameterValue(VCAGate::FcGateRelease, releaseHz);
    gate->preGain = -30470.0F / 470.0F;
    gate->postGain = 1.0F;
    return gate;
}

double SettledGate(float control) {
    auto gate = MakeGate(1600.0F, 50.0F);
    Render(*gate, {Signal(44000, 0.0F), Signal(44000, control)}, 1);
    return static_cast<double>(gate->lastGate);
}

/// The curve behind the gate, with the gate wide open.
Signal Shaped(const Signal& drive) {
    auto gate = MakeGate(1600.0F, 50.0F);
    Render(*gate, {Signal(4400, 0.0F), Signal(4400, -15.0F)}, 1);
    Signal shaped = Render(*gate, {drive, Signal(drive.size(), -15.0F)}, 1)[0];
    for (float& y : shaped) {
        y /= gate->lastGate;
    }
    return shaped;
}

} // namespace

TEST(VCAGateTest, SettlesOnItsStaticCurve) {
    const std::pair<float, double> points[] = {{-15.0F, 3.2017e-4},  {-5.0F, 9.18563e-5}, {-2.0F, 2.33627e-5},
                                               {-1.2F, 5.479082e-6}, {-0.8F, 3.4268e-7},  {-0.5F, 0.0},
                                               {0.0F, 0.0},          {1e-6F, 0.0},        {15.0F, 0.0}};
    for (const auto& [control, expected] : points) {
        EXPECT_NEAR(SettledGate(control), expected, 1e-5 * 3.2e-4) << "control " << control;
    }
    // The curve is continuous where the bend starts and where it becomes straight.
    EXPECT_NEAR(SettledGate(-0.68F), 0.0, 1e-9);
    EXPECT_NEAR(SettledGate(-1.7625F), SettledGate(-1.7627F), 1e-8);
}

TEST(VCAGateTest, ShapesLikeATangensHyperbolicusWithoutCorners) {
    constexpr double step = 1.0 / 256.0;
    Signal drive;
    for (int k = -1280; k < 1280; ++k) {
        drive.push_back(static_cast<float>(k * step));
    }
    const Signal shaped = Shaped(drive);
    double lastSlope = 0.0;
    for (std::size_t n = 1; n < drive.size(); ++n) {
        const double x = static_cast<double>(drive[n]);
        const double y = static_cast<double>(shaped[n]);
        EXPECT_NEAR(y, std::tanh(x), 0.01) << "drive " << x;
        EXPECT_NEAR(y, -static_cast<double>(shaped[drive.size() - n]), 1e-5) << "mirrored at " << x;
        const double slope = (y - static_cast<double>(shaped[n - 1])) / step;
        // The curvature stays below 1, so a larger change of slope would be a corner.
        EXPECT_TRUE(n == 1 || std::abs(slope - lastSlope) < step + 1e-3) << "corner at " << x;
        lastSlope = slope;
    }
    EXPECT_NEAR(Shaped(Signal(44, 1e5F))[0], 1.0F, 1e-5F);
    EXPECT_NEAR(Shaped(Signal(44, 1e-4F))[0], 1e-4F, 1e-8F);
}

TEST(VCAGateTest, OpensAndClosesWithTheTimeConstantsOfItsCorners) {
    for (const double rate : {16000.0, 48000.0, 192000.0}) {
        const auto frames = [rate](double hz) {
            return 4 * static_cast<std::size_t>(std::lround(rate / (2.0 * pi * hz) / 4.0));
        };
        auto gate = MakeGate(20.0F, 5.0F, rate);
        const double open = 3.2017e-4;
        Render(*gate, {Signal(frames(20.0), 0.0F), Signal(frames(20.0), -15.0F)}, 1);
        EXPECT_NEAR(gate->lastGate / open, 1.0 - std::exp(-1.0), 0.01) << "attack at rate " << rate;
        Render(*gate, {Signal(frames(2.0), 0.0F), Signal(frames(2.0), -15.0F)}, 1);
        Render(*gate, {Signal(frames(5.0), 0.0F), Signal(frames(5.0), 15.0F)}, 1);
        EXPECT_NEAR(gate->lastGate / open, std::exp(-1.0), 0.01) << "release at rate " << rate;
        // Between 0 and the bend there is no current, but it is the attack corner that discharges.
        Render(*gate, {Signal(frames(2.0), 0.0F), Signal(frames(2.0), -15.0F)}, 1);
        Render(*gate, {Signal(frames(20.0), 0.0F), Signal(frames(20.0), -0.3F)}, 1);
        EXPECT_NEAR(gate->lastGate / open, std::exp(-1.0), 0.01) << "idle attack at rate " << rate;
    }
}

TEST(VCAGateTest, SwitchingCausesNoStep) {
    for (const auto& [attack, release] : {std::pair(40.0F, 2.0F), std::pair(5.0F, 50.0F)}) {
        auto gate = MakeGate(attack, release);
        const Signal control = Decisions(44000, 5);
        const Signal factor = Render(*gate, {Signal(44000, 1e5F), control}, 1)[0];
        // Shape saturates at 1, so the output is the gate's factor. A full step of the current moves a
        // first-order low-pass by `half` at once; the first sample of a stretch must move by just that.
        const auto half = [](float hz) { return 3.2017e-4 * pi * static_cast<double>(hz) / 48000.0; };
        for (std::size_t n = 1; n < factor.size(); ++n) {
            const double change = static_cast<double>(factor[n]) - static_cast<double>(factor[n - 1]);
            const bool opens = control[n] < 0.0F;
            if (control[n] != control[n - 1]) {
                const double expected = opens ? half(attack) : -half(release);
                ASSERT_NEAR(change, expected, 0.01 * std::abs(expected)) << "switch at frame " << n;
            } else {
                ASSERT_LE(std::abs(change), 2.01 * half(opens ? attack : release)) << "frame " << n;
                ASSERT_TRUE(opens ? change >= 0.0 : change <= 0.0 || factor[n] < 0.0F) << "frame " << n;
            }
        }
        EXPECT_GT(*std::max_element(factor.begin(), factor.end()), 1e-5F);
    }
}
