// SPDX-License-Identifier: GPL-3.0-or-later
// A stage that says that it is at rest need not run while it is silent.
#include "dsp/math/DenormalGuard.h"
#include "rigs/ModuleRig.h"
#include "vocoder/core/preamps/Preamps.h"
#include "vocoder/core/unvoiced/HFChannel.h"
#include "vocoder/core/unvoiced/HissBuzzDiscriminator.h"
#include "vocoder/core/unvoiced/NoiseCarrierBalance.h"

#include <functional>

namespace {

using namespace orphia::test;
using namespace Velmora::Processor;

constexpr u32 blockSize = 44;

/// The same sound at all sound inputs; with a control voltage, if the stage has one.
template <class M>
std::vector<Signal> Play(M& stage, u32 sounds, const Signal& sound, float control) {
    const Signal voltage(sound.size(), control);
    std::vector<const Signal*> inputs(sounds, &sound);
    if (control != 0.0F) {
        inputs.push_back(&voltage);
    }
    return Render(stage, inputs, stage.numOutputs, BlockSplit::Of(blockSize));
}

/// Two of a stage play until they are at rest. One stays so, the other runs on; then both sound again.
template <class M>
void ExpectRestIsNotHeard(
    u32 sounds, float volts, const std::function<bool(const M&, float)>& isAtRest,
    const std::function<void(M&)>& prepare = [](M&) {}) {
    const Velmora::dsp::DenormalGuard guard;
    std::mt19937 random{7};
    M resting;
    M running;
    for (M* stage : {&resting, &running}) {
        prepare(*stage);
        for (u32 id = 0; id < M::parameterCount && volts != 0.0F; ++id) {
            stage->SetParameterNormalized(id, 0.5F); // of gates that end within seconds
        }
        stage->Initialize(8000.0F, blockSize);
    }
    for (u32 round = 0; round < 40; ++round) {
        const float control = round % 3 == 0 ? -volts : volts;
        const Signal noise = Noise(10 * blockSize, 0.5F, round);
        ASSERT_EQ(Play(resting, sounds, noise, control), Play(running, sounds, noise, control)) << round;
        // Now and then a knob is turned in the silence.
        for (const bool turns : {false, true}) {
            if (turns && M::parameterCount > 0) {
                const u32 id = static_cast<u32>(random()) % std::max(M::parameterCount, 1U);
                const float position = 0.3F + 0.1F * static_cast<float>(random() % 8);
                resting.SetParameterNormalized(id, position);
                running.SetParameterNormalized(id, position);
            }
            u32 blocks = 0;
            do {
                Play(resting, sounds, Signal(blockSize), control);
                Play(running, sounds, Signal(blockSize), control);
                ASSERT_LT(++blocks, 8000U) << "never at rest";
            } while (!isAtRest(resting, control));
            Play(running, sounds, Signal(100 * blockSize), control);
            if (round % 2 == 0) {
                break;
            }
        }
    }
}

TEST(StageRest, IsNotHeard) {
    ExpectRestIsNotHeard<Preamp>(1, 0.0F, [](const auto& m, float) { return m.IsAtRest(); });
    ExpectRestIsNotHeard<CarrierPreamp>(1, 0.0F, [](const auto& m, float) { return m.IsAtRest(); });
    ExpectRestIsNotHeard<PreampAnalyzer>(1, 0.0F, [](const auto& m, float) { return m.IsAtRest(); });
    ExpectRestIsNotHeard<HissBuzzDiscriminator>(1, 0.0F, [](const auto& m, float) { return m.IsAtRest(); });
    ExpectRestIsNotHeard<NoiseCarrierBalance>(2, 0.0F, [](const auto& m, float) { return m.IsAtRest(); });
    ExpectRestIsNotHeard<HFChannel>(1, 15.0F, [](const auto& m, float volts) { return m.IsAtRest(volts); });
    ExpectRestIsNotHeard<VCAGate>(
        1, 15.0F, [](const auto& m, float volts) { return m.IsAtRest(volts); },
        [](VCAGate& gate) {
            gate.preGain = 12.0F;
            gate.postGain = 20000.0F;
        });
}

} // namespace
