// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/gain/VCAGate.h"

#include "reference/UnvoicedModels.h"
#include "rigs/StageRig.h"

using namespace Velmora::Test;

TEST(VCAGate, FollowsItsCircuitAtAnyVoltage) {
    // The control passes every piece of its curve and rests at some voltages; the signal every piece of the
    // limiter.
    Signals inputs = {Noise(44000, 20.0F, 3), Signal(44000)};
    for (std::size_t n = 0; n < inputs[0].size(); ++n) {
        inputs[1][n] = n / 4400 % 2 == 0 ? 1.6F * std::sin(0.003F * static_cast<float>(n)) - 0.6F
                                         : static_cast<float>(n / 440 % 10) - 7.3F;
    }
    for (const double rate : {44100.0, 96000.0, 192000.0}) {
        auto model = orphia_reference::GateModel::ForBus(rate);
        model.SetCorners(300.0, 20.0);
        Velmora::Processor::VCAGate gate;
        gate.SetParameterValue(gate.Pot, 0.05178F);
        gate.SetParameterValue(gate.FcGateAttack, 300.0F);
        gate.SetParameterValue(gate.FcGateRelease, 20.0F);
        gate.preGain = 12.019231F;
        gate.postGain = 20000.0F;
        gate.Initialize(static_cast<float>(rate), 44);
        std::vector<double> expected;
        for (std::size_t n = 0; n < inputs[0].size(); ++n) {
            expected.push_back(model.Step(inputs[0][n], inputs[1][n]));
        }
        EXPECT_LT(orphia_reference::DifferenceDb(Render(gate, inputs, 1)[0], expected), -110.0) << rate;
        EXPECT_NEAR(gate.lastGate, model.gate, 1e-9);
    }
}
