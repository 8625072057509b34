// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/Oscillators.h"

#include "support/MeasurePitch.h"
#include "vocoder/ModuleRig.h"
#include "vocoder/VoiceFrequency.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace orphia::test {
namespace {

using Velmora::i32;
using Velmora::Processor::Oscillators;
using Velmora::Processor::VoiceOscillator;

/// A voice whose gate is open, with oscillator 1 at full level and no envelope to speak of.
struct VoiceRig {
    static constexpr float rate = 44100.0F;
    std::unique_ptr<Oscillators> voice = std::make_unique<Oscillators>();

    explicit VoiceRig(i32 waveform, float hz = 441.0F) {
        Set(Oscillators::Osc1Waveform, static_cast<float>(waveform));
        Set(Oscillators::Osc1Volume, 0.0F);
        Set(Oscillators::Osc1Coarse, 0.0F);
        Set(Oscillators::Osc2Coarse, 0.0F);
        Set(Oscillators::Osc2Fine, 0.0F);
        Set(Oscillators::Osc2KeyTrack, 1.0F);
        Set(Oscillators::Frequency, hz);
        voice->SetParameterValue(Velmora::dsp::ADSR::attack, 0.002F);
        voice->SeedNoise(1);
        voice->Initialize(rate, 64);
        voice->PulseGate();
    }
    void Set(u32 index, float value) {
        voice->SetParameterValue(Oscillators::childParameterCount + index, value);
    }
    Signal Run(std::size_t frames, u32 blockSize = 64) {
        const Signal none(frames, 0.0F);
        const std::vector<const Signal*> inputs(Oscillators::InputCount, nullptr);
        // The rig takes its length from the inputs.
        std::vector<const Signal*> aux{&none};
        return Render(*voice, inputs, 2, BlockSplit::Of(blockSize), aux)[0];
    }
};

TEST(Oscillators, FrequencyStaysWithinItsLimits) {
    for (const float shift : {-60.0F, 60.0F}) {
        VoiceRig rig(VoiceOscillator::Triangle, shift < 0.0F ? 30.0F : 15000.0F);
        rig.Set(Oscillators::Osc1Coarse, shift);
        rig.Run(8000);
        const double limit = shift < 0.0F ? 20.0 : 20000.0;
        EXPECT_NEAR(Cents(MeasurePitch(rig.Run(88192), limit, VoiceRig::rate), limit), 0.0, 0.1);
    }
}

TEST(Oscillators, SweepsOfSyncAndFMNeverLeaveTheSwingOfTheWaveform) {
    for (const i32 waveform : {0, 1, 2}) {
        VoiceRig plain(waveform, 300.0F);
        const float peak = Peak(plain.Run(22016));
        for (const bool isSynced : {false, true}) {
            VoiceRig rig(waveform, 300.0F);
            rig.Set(Oscillators::Sync, isSynced ? 1.0F : 0.0F);
            // The post filter lifts what FM brings up to the treble.
            const float limit = peak * (isSynced ? 1.2F : 1.5F);
            float previous = 0.0F;
            for (u32 step = 0; step <= 480; ++step) {
                const float way = static_cast<float>(step) / 480.0F;
                rig.Set(Oscillators::FMAmount, isSynced ? 0.0F : 0.3F * way);
                rig.Set(Oscillators::Osc1Coarse, std::round(isSynced ? 48.0F * way : 0.0F));
                for (const float x : rig.Run(64)) {
                    ASSERT_LT(std::abs(x), limit) << waveform << isSynced << " at step " << step;
                    ASSERT_LT(std::abs(x - previous), 2.0F * limit) << waveform << isSynced << " at " << step;
                    previous = x;
                }
            }
        }
    }
}

TEST(Oscillators, BlockSizesAgree) {
    for (const i32 waveform : {0, 1, 2, 3}) {
        VoiceRig small(waveform);
        VoiceRig large(waveform);
        const Signal a = small.Run(4096, 4);
        const Signal b = large.Run(4096, 64);
        double worst = 0.0;
        for (std::size_t n = 0; n < a.size(); ++n) {
            worst = std::max(worst, static_cast<double>(std::abs(a[n] - b[n])));
        }
        EXPECT_LT(worst, 2e-3) << waveform;
    }
}

} // namespace
} // namespace orphia::test
