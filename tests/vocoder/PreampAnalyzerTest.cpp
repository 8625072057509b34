// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/PreampAnalyzer.h"

#include "StageRig.h"

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

TEST(PreampAnalyzerTest, IsTheHighPassOfItsCircuit) {
    constexpr double c = 2.2e-8;
    constexpr double r1 = 20000.0;
    constexpr double r2 = 39000.0;
    const double corner = 1.0 / (2.0 * pi * c * std::sqrt(r1 * r2));
    EXPECT_NEAR(corner, 259.0, 0.1);
    for (const double rate : responseRates) {
        auto stage = MakeStage<PreampAnalyzer>(rate);
        const Signal impulse = Impulse(static_cast<std::size_t>(rate / 10.0), 1.0F);
        ExpectResponse(Render(*stage, {impulse}, 1)[0], 1.0, rate, [&](double hz) {
            return HighPass2(AnalogueFrequency(hz, corner, rate), 0.5 * std::sqrt(r2 / r1));
        });
    }
}

TEST(PreampAnalyzerTest, KeepsItsStageInvariants) {
    ExpectStageInvariants([] { return MakeStage<PreampAnalyzer>(); }, {Noise(2200, 5.0F, 3)}, 1);
}

TEST(PreampAnalyzerTest, SoundComesBackAfterABrokenInput) {
    auto stage = MakeStage<PreampAnalyzer>();
    Signal input = Noise(2200, 1.0F, 4);
    input[100] = INFINITY;
    ExpectFinite(Render(*stage, {input}, 1));
    const Signal tone = Tone(4800, 2000.0, 48000.0, 1.0);
    EXPECT_NEAR(Rms(Render(*stage, {tone}, 1)[0], 2400), std::numbers::sqrt2 / 2.0, 0.01);
}
