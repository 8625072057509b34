// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/Oscillators.h"

#include "engine/ModuleCloner.h"
#include "rigs/ModuleRig.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <random>

namespace orphia::test {
namespace {

using Velmora::Processor::Oscillators;

constexpr float rate = 44100.0F;

/// Voices behind a cloner, of which some are listed at a time, and the same ones by themselves, which read
/// all their settings anew in each block.
class Choir {
public:
    Choir() {
        together->Initialize(rate, blockSize);
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
            alone.back()->Initialize(rate, blockSize);
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
                each->Envelope().SetGate(action < 3);
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
        const u32 frames = context.numFrames = Below(4) == 0 ? 4 * Below(blockSize / 4) : blockSize;
        auto all =
            context.ForChild(inputs.data(), count * Oscillators::InputCount, outputs.data(), 2 * count);
        EXPECT_TRUE(together->ProcessListed(all, listed));
        float loudest = 0.0F;
        for (const u32 voice : listed) {
            float* out[] = {buffers[2 * count], buffers[2 * count + 1]};
            auto one =
                context.ForChild(&inputs[voice * Oscillators::InputCount], Oscillators::InputCount, out, 2);
            alone[voice]->ClearParameterChanges(true);
            Velmora::dsp::RunChild(*alone[voice], one);
            EXPECT_TRUE(std::equal(out[0], out[0] + frames, outputs[2 * voice]))
                << "voice " << voice << " of " << listed.size();
            loudest = std::max(loudest, Peak(Signal(out[0], out[0] + frames)));
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

TEST(Oscillators, NoiseHasTheColourOfItsShape) {
    constexpr float shape = 0.3F;
    Oscillators voice;
    const auto set = [&voice](Oscillators::Additional index, float value) {
        voice.SetParameterValue(Oscillators::ParameterId(index), value);
    };
    set(Oscillators::Osc1Waveform, Velmora::Processor::VoiceOscillator::Noise);
    set(Oscillators::Osc1Volume, 0.0F);
    set(Oscillators::Osc1Shape, shape);
    voice.SeedNoise(5);
    voice.SetParameterValue(Velmora::dsp::ADSR::Attack, 0.0F);
    voice.Initialize(rate, 64);
    voice.Envelope().Restart();
    Velmora::dsp::NoiseGenerator noise;
    noise.SetParameterValue(noise.NoiseType, noise.Morph);
    noise.SetParameterValue(noise.NoiseColor, shape);
    noise.Initialize(rate, 64);
    noise.Seed(5);
    const Signal clock(640, 0.0F);
    const std::vector<const Signal*> none(Oscillators::InputCount, nullptr);
    EXPECT_EQ(Render(voice, none, 2, BlockSplit::Of(64), {&clock})[1],
              Render(noise, {nullptr}, 1, BlockSplit::Of(64), {&clock})[0]);
}

} // namespace
} // namespace orphia::test
