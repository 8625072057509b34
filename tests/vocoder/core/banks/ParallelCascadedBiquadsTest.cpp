// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/ParallelCascadedBiquads.h"

#include "rigs/StageRig.h"

using namespace Velmora::Test;
using Biquads = Velmora::Processor::ParallelCascadedBiquads;

TEST(ParallelCascadedBiquads, ABandThatBreaksIsNotHeardInTheOthers) {
    // Far above what is sound, where a gain of 100 breaks a channel and one of 1 does not.
    const Signals input = {Tone(44000, 1000.0, 44100.0, 5e10)};
    for (Velmora::u32 loud = 0; loud <= 16; ++loud) {
        Signals outputs[2];
        for (const bool breaks : {false, true}) {
            Biquads bank("bank");
            for (Velmora::u32 channel = 1; channel <= 16; ++channel) {
                bank.SetBothStages(Biquads::Type, channel, Biquads::BandPass);
                bank.SetBothStages(Biquads::Frequency, channel, 1000.0F);
                bank.SetBothStages(Biquads::Quality, channel, 1.0F);
                bank.SetBothStages(Biquads::Gain, channel, breaks && channel == loud ? 10.0F : 1.0F);
            }
            bank.Initialize(44100.0F, rigBlock);
            outputs[breaks ? 1 : 0] = Render(bank, input, 16);
        }
        for (Velmora::u32 channel = 1; channel <= 16; ++channel) {
            EXPECT_EQ(outputs[0][channel - 1] == outputs[1][channel - 1], channel != loud) << channel << loud;
        }
    }
}
