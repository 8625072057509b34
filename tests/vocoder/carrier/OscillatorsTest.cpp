// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/Oscillators.h"

#include "engine/ModuleCloner.h"
#include "rigs/OscillatorRig.h"

#include <array>
#include <memory>
#include <tuple>

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
        if (Below(16) == 0) {
            // Voices stand still now and then, which takes that no FM moves them.
            const u32 index = Below(Oscillators::AdditionalCount);
            Set(index, index == Oscillators::FMAmount && Below(4) != 0 ? 0.0F : Position());
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
        if (Below(64) == 0) {
            isRouted = !isRouted;
            modulation = {};
        }
        if (isRouted) {
            auto& changed = modulation[Below(count)][Below(Oscillators::InputCount)];
            changed = {Below(8) == 0 ? 1.0F : 0.0F, Position() - 0.5F};
        }
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
        // Both sides may be one buffer, and without routes there may be no inputs.
        auto channels = outputs;
        if (Below(2) == 0) {
            for (u32 voice = 0; voice < count; ++voice) {
                channels[2 * voice + 1] = channels[2 * voice];
            }
        }
        auto all =
            context.ForChild(isRouted ? inputs.data() : nullptr,
                             isRouted ? count * Oscillators::InputCount : 0, channels.data(), 2 * count);
        EXPECT_TRUE(together->ProcessListed(all, listed));
        float loudest = 0.0F;
        for (const u32 voice : listed) {
            float* out[] = {buffers[2 * count], buffers[2 * count + 1]};
            auto one =
                context.ForChild(&inputs[voice * Oscillators::InputCount], Oscillators::InputCount, out, 2);
            ReadAnew(*alone[voice]);
            Velmora::dsp::RunChild(*alone[voice], one);
            for (const u32 side : {0U, 1U}) {
                EXPECT_TRUE(std::equal(out[side], out[side] + frames, channels[2 * voice + side]))
                    << "voice " << voice << " of " << listed.size();
            }
            loudest = std::max(loudest, Peak(Signal(out[0], out[0] + frames)));
        }
        return loudest;
    }

private:
    static constexpr u32 count = Oscillators::groupSize + 3;
    static constexpr u32 blockSize = 44;

    /// A setting of the envelope that was moved and is back lets it look at all of them, and triggers
    /// nothing.
    static void ReadAnew(Oscillators& voice) {
        using Velmora::dsp::ADSR;
        const float bend = voice.Envelope().GetParameterNormalized(ADSR::AttackCurve);
        voice.Envelope().SetParameterNormalized(ADSR::AttackCurve, bend + 1.0F);
        voice.Envelope().SetParameterNormalized(ADSR::AttackCurve, bend);
        voice.ClearParameterChanges(true);
    }
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
    bool isRouted = true;
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

/// What a voice of one oscillator plays under an open gate.
Signal Play(u32 waveform, float shape, float hz, std::size_t frames, bool isSmooth = false) {
    Oscillators voice;
    const std::pair<Oscillators::Additional, float> settings[] = {
        {Oscillators::Osc1Waveform, static_cast<float>(waveform)},
        {Oscillators::Osc1Coarse, 0.0F},
        {Oscillators::Osc1Volume, 0.0F},
        {Oscillators::Osc1Shape, shape},
        {Oscillators::Frequency, hz}};
    for (const auto& [index, value] : settings) {
        voice.SetParameterValue(Oscillators::ParameterId(index), value);
    }
    voice.SeedNoise(5);
    voice.SetSmoothDrive(isSmooth);
    voice.SetParameterValue(Velmora::dsp::ADSR::Attack, 0.0F);
    voice.Initialize(rate, 64);
    voice.Envelope().Restart();
    const Signal clock(frames, 0.0F);
    const std::vector<const Signal*> none(Oscillators::InputCount, nullptr);
    return Render(voice, none, 2, BlockSplit::Of(64), {&clock})[1];
}

TEST(Oscillators, ASmoothDriveFoldsBackLessAndIsElseTheSameHalfASampleLate) {
    using Velmora::Processor::VoiceOscillator;
    for (const auto& [waveform, shape, hz] :
         {std::tuple(VoiceOscillator::Saw, 0.1F, 1046.5F), {VoiceOscillator::Triangle, 0.3F, 2093.0F}}) {
        const auto play = [&, waveform = waveform, shape = shape](float pitch, bool isSmooth) {
            return Play(waveform, shape, pitch, spectrumSize + 4096, isSmooth);
        };
        const double f = static_cast<double>(hz / rate);
        const double audible = 15000.0 / static_cast<double>(rate);
        EXPECT_LT(StrongestAlias(Spectrum(play(hz, true)), f, audible),
                  StrongestAlias(Spectrum(play(hz, false)), f, audible) - 10.0)
            << waveform;
        // A note that is low enough has hardly any.
        const Signal plain = play(30.0F, false);
        const Signal smooth = play(30.0F, true);
        Signal difference;
        for (std::size_t n = 1; n < plain.size(); ++n) {
            difference.push_back(smooth[n] - 0.5F * (plain[n] + plain[n - 1]));
        }
        EXPECT_LT(Rms(difference), 0.05 * Rms(plain)) << waveform;
    }
}

} // namespace
} // namespace orphia::test
