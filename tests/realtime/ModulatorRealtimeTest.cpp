// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/RunChild.h"
#include "realtime/CallTrap.h"
#include "rigs/TestFiles.h"
#include "vocoder/modulator/VocoderModulator.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace orphia::test;
using Velmora::u32;
using Velmora::u8;
using Velmora::dsp::Sampler;
using Velmora::dsp::SlotParameter;
using Velmora::Processor::VocoderModulator;

// The exception: another window of the tracker.
constexpr u32 windowSize = VocoderModulator::FirstParameter<VocoderModulator::Tracker>() +
                           Velmora::dsp::PitchTracker::AnalysisWindowSize;

/// A modulator with four files beside it, whose audio thread must not make any of the trapped calls.
class TrappedModulator {
public:
    TrappedModulator() {
        for (int i = 0; i < 4; ++i) {
            const auto path = folder / (std::to_string(i) + ".wav");
            WriteSound(path, Sine(100.0 * (i + 1), 0.2 * (i + 1), 44100, 1 + i % 2));
            paths.push_back(path.string());
        }
        modulator.SetHeldNotes(held);
        modulator.Initialize(44100.0F, blockSize);
    }

    /// Runs a block; before it, what `act` does on the audio thread. False when a trap went off.
    template <class Act>
    bool Block(Act&& act) {
        const std::array<const float*, 2> in{buffers[0].data(), buffers[1].data()};
        const std::array<float*, 3> out{buffers[2].data(), buffers[3].data(), buffers[4].data()};
        Velmora::dsp::ProcessContext context;
        context.inputs = in.data();
        context.numInputs = 2;
        context.outputs = out.data();
        context.numOutputs = 3;
        context.numFrames = blockSize;
        const CallTrap trap;
        act(modulator);
        Velmora::dsp::RunChild(modulator, context);
        const std::size_t calls = trap.Count();
        EXPECT_EQ(calls, 0U) << trap.FirstCall();
        return calls == 0;
    }
    void Key(u32 note) {
        held[note] = static_cast<u8>(1 - held[note]);
        held[note] != 0 ? modulator.NoteOn(note) : modulator.NoteOff(note);
    }

    VocoderModulator modulator;
    std::vector<std::string> paths = {"", "/missing.wav"};

private:
    static constexpr u32 blockSize = 44;
    TemporaryFolder folder;
    std::array<u8, 128> held{};
    std::array<std::vector<float>, 5> buffers = [] {
        std::array<std::vector<float>, 5> all;
        all.fill(std::vector<float>(blockSize, 0.01F));
        return all;
    }();
};

/// All states while the worker loads: paths change, keys are played, every parameter moves.
TEST(ModulatorRealtime, TheAudioThreadAllocatesFreesLocksAndWaitsForNothing) {
    auto trapped = std::make_unique<TrappedModulator>();
    std::mt19937 random(5);
    const auto below = [&random](std::size_t count) { return static_cast<u32>(random() % count); };
    std::size_t blocksWithSample = 0;
    for (int block = 0; block < 20000; ++block) {
        const u32 id = below(VocoderModulator::parameterCount);
        const float position = static_cast<float>(below(1001)) * 0.001F;
        ASSERT_TRUE(trapped->Block([&](VocoderModulator& modulator) {
            if (block % 40 == 0) {
                modulator.SetPath(below(4), trapped->paths[below(trapped->paths.size())]);
            }
            if (id != windowSize) {
                modulator.SetParameterNormalized(id, position);
            }
            if (block % 7 == 0) {
                trapped->Key(24 + below(48));
            }
            if (block % 500 == 499) {
                modulator.Reset(block % 1000 == 999);
            }
        })) << "block "
            << block << ", after parameter " << id;
        blocksWithSample += trapped->modulator.HasSample(0) ? 1 : 0;
        if (block % 200 == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    EXPECT_GT(blocksWithSample, 1000U) << "the samples came in while the blocks ran";
}

TEST(ModulatorRealtime, NeitherDoesAStretchThatMovesOverAllFactors) {
    auto trapped = std::make_unique<TrappedModulator>();
    VocoderModulator& modulator = trapped->modulator;
    modulator.SetPath(0, trapped->paths.back());
    do {
        ASSERT_TRUE(trapped->Block([](VocoderModulator&) {}));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } while (modulator.IsLoading());
    modulator.SetParameterValue(Sampler::SlotId(SlotParameter::TimeStretchOn, 0), 1.0F);
    modulator.SetParameterValue(VocoderModulator::ParameterId(VocoderModulator::SampleLoopOn), 1.0F);
    u32 blocksPlayed = 0;
    for (int block = 0; block < 6000; ++block) {
        const float position = static_cast<float>(block * 37 % 1000) * 0.001F;
        ASSERT_TRUE(trapped->Block([&](VocoderModulator& playing) {
            if (block % 3 == 0) {
                playing.SetParameterNormalized(Sampler::SlotId(SlotParameter::TimeStretchFactor, 0),
                                               position);
            }
            if (block % 300 == 0) {
                trapped->Key(36);
            }
        })) << "block "
            << block;
        blocksPlayed += modulator.Section<VocoderModulator::Player>().PlayPosition() > 0.0 ? 1 : 0;
    }
    EXPECT_GT(blocksPlayed, 2500U);
}

} // namespace
