// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/ParallelCascadedBiquads.h"

#include "dsp/math/DenormalGuard.h"
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

TEST(ParallelCascadedBiquads, ChannelsThatHaveDiedAwayAreZero) {
    const Velmora::dsp::DenormalGuard guard;
    for (const double rate : {44100.0, 192000.0}) {
        for (const auto type : {Biquads::LowPass, Biquads::BandPass}) {
            Biquads bank("bank");
            for (Velmora::u32 channel = 1; channel <= 16; ++channel) {
                bank.SetBothStages(Biquads::Type, channel, type);
                bank.SetBothStages(Biquads::Frequency, channel, 20.0F * std::pow(1.5F, float(channel)));
                bank.SetBothStages(Biquads::Quality, channel, 1.0F);
                bank.SetBothStages(Biquads::Gain, channel, 1.0F);
            }
            bank.Initialize(static_cast<float>(rate), rigBlock);
            const auto second = static_cast<std::size_t>(rate);
            Render(bank, {Noise(second, 1.0F, 1)}, 16);
            EXPECT_FALSE(bank.IsSilent());
            Render(bank, {Signal(2 * second)}, 16);
            EXPECT_TRUE(bank.IsSilent()) << rate << ", " << type;
        }
    }
}
