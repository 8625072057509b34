// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/CarrierPreamp.h"

#include "StageRig.h"

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

namespace {

std::unique_ptr<CarrierPreamp> MakeCarrierPreamp(float levelDb, double sampleRate = 48000.0) {
    auto module = MakeStage<CarrierPreamp>(sampleRate);
    module->SetParameterValue(CarrierPreamp::CarrierLevel, levelDb);
    return module;
}

} // namespace

TEST(CarrierPreampTest, PassesTheCarrierThroughTwoFirstOrderHighPassesAndInverts) {
    for (const double rate : responseRates) {
        auto preamp = MakeCarrierPreamp(-20.0F, rate);
        const Signals out = Render(*preamp, {Impulse(static_cast<std::size_t>(rate / 2.0), 1.0F)}, 1);
        ExpectResponse(out[0], 1.0, rate, [rate](double hz) {
            return -0.1 * 2.8 * 10.0 * HighPass1(AnalogueFrequency(hz, 49.998447 / pi, rate)) *
                   HighPass1(AnalogueFrequency(hz, 54.946457 / pi, rate));
        });
    }
}

TEST(CarrierPreampTest, TheClipSitsInsideTheRecursion) {
    auto preamp = MakeCarrierPreamp(0.0F);
    // A loud step clips at once; a clip behind the filter would stay at the rail for as long as the
    // unclipped voltage is above it, a clip inside discharges from the rail right away.
    const Signals out = Render(*preamp, {Signal(4800, 5.0F)}, 1);
    const auto [lowest, highest] = std::minmax_element(out[0].begin(), out[0].end());
    EXPECT_EQ(*lowest, -13.5F);
    EXPECT_LE(*highest, 13.5F);
    EXPECT_GT(out[0][96], 0.0F) << "after 2 ms";
}
