// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/Oscillators.h"

#include "engine/ModuleCloner.h"
#include "rigs/MeasurePitch.h"
#include "rigs/ModuleRig.h"
#include "vocoder/carrier/VoiceFrequency.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <random>

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

/// Voices behind a cloner, of which some are listed at a time, and the same ones by themselves, which read
/// all their settings anew in each block.
class Choir {
public:
    Choir() {
        together->Initialize(VoiceRig::rate, blockSize);
        buffers.Allocate(2 * count + 2, blockSize);
        for (u32 channel = 0; channel < outputs.size(); ++channel) {
            outputs[channel] = buffers[channel];
        }
        for (u32 voice = 0; voice < count; ++voice) {
            for (u32 input = 0; input < Oscillators::InputCount; ++input) {
                inputs[voice * Oscillators::InputCount + input] = &modulation[voice][input][1];
            }
            together->Clone(voice).SeedNoise(voice);
            alone.push_back(std::make_unique<Oscillators>());
            alone.back()->SeedNoise(voice);
            alone.back()->Initialize(VoiceRig::rate, blockSize);
        }
        Set(Oscillators::Osc1Volume, 1.0F);
        Set(Oscillators::Osc2Volume, 1.0F);
    }
    /// Settings, pitches, gates, resets and modulations of any voice, listed or not.
    void Move() {
        if (Below(4) == 0) {
            Set(Below(Oscillators::AdditionalCount), Position());
        }
        const u32 voice = Below(count);
        const float hz = 20.0F * std::exp2(8.0F * Position());
        const u32 action = Below(8);
        for (Oscillators* each : {&together->Clone(voice), alone[voice].get()}) {
            each->SetParameterValue(Oscillators::frequency, hz);
            if (action == 0) {
                each->Reset(false);
            } else if (action < 4) {
                each->SetGate(action < 3);
            }
        }
        auto& changed = modulation[Below(count)][Below(Oscillators::InputCount)];
        changed = {Below(8) == 0 ? 1.0F : 0.0F, Position() - 0.5F};
    }
    /// Runs a block of some voices; returns the loudest sample.
    float Run() {
        std::vector<u32> listed;
        for (u32 voice = 0; voice < count; ++voice) {
            if (Below(4) != 0) {
                listed.push_back(voice);
            }
        }
        Velmora::dsp::ProcessContext context;
        context.numFrames = Below(4) == 0 ? 4 * Below(blockSize / 4) : blockSize;
        auto all =
            context.ForChild(inputs.data(), count * Oscillators::InputCount, outputs.data(), 2 * count);
        EXPECT_TRUE(together->ProcessListed(all, listed));
        float loudest = 0.0F;
        for (const u32 voice : listed) {
            float* out[] = {buffers[2 * count], buffers[2 * count + 1]};
            auto one = context.ForChild(inputs.data() + voice * Oscillators::InputCount,
                                        Oscillators::InputCount, out, 2);
            alone[voice]->ClearParameterChanges(true);
            Velmora::dsp::RunChild(*alone[voice], one);
            const Signal expected(out[0], out[0] + context.numFrames);
            EXPECT_EQ(Signal(outputs[2 * voice], outputs[2 * voice] + context.numFrames), expected)
                << "voice " << voice << " of " << listed.size();
            loudest = std::max(loudest, Peak(expected));
        }
        return loudest;
    }

private:
    static constexpr u32 count = Oscillators::groupSize + 3;
    static constexpr u32 blockSize = 44;

    u32 Below(u32 limit) { return static_cast<u32>(random() % limit); }
    float Position() { return static_cast<float>(Below(65)) / 64.0F; }
    void Set(u32 index, float position) {
        together->SetParameterNormalized(Oscillators::childParameterCount + index, position);
        for (const auto& voice : alone) {
            voice->SetParameterNormalized(Oscillators::childParameterCount + index, position);
        }
    }

    using Cloner = Velmora::engine::ModuleCloner<Oscillators, count, 0, 0>;
    std::unique_ptr<Cloner> together = std::make_unique<Cloner>();
    std::vector<std::unique_ptr<Oscillators>> alone;
    Velmora::dsp::BlockPool buffers;
    /// The mark, and the value behind it.
    std::array<std::array<std::array<float, 2>, Oscillators::InputCount>, count> modulation{};
    std::array<const float*, count * Oscillators::InputCount> inputs{};
    std::array<float*, 2 * count> outputs{};
    std::mt19937 random{3};
};

TEST(Oscillators, SideBySideEachVoiceSoundsAsItDoesAloneWithAllReadAnew) {
    Choir choir;
    u32 heard = 0;
    for (u32 block = 0; block < 3000 && !testing::Test::HasFailure(); ++block) {
        SCOPED_TRACE(block);
        choir.Move();
        heard += choir.Run() > 0.01F ? 1 : 0;
    }
    EXPECT_GT(heard, 2000U);
}

} // namespace
} // namespace orphia::test
