// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/RunChild.h"
#include "host/TestFiles.h"
#include "realtime/CallTrap.h"
#include "vocoder/VocoderModulator.h"

#include <gtest/gtest.h>

#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace orphia::test;
using Velmora::u32;
using Velmora::u8;
using Velmora::Processor::VocoderModulator;

/// Without this, no test of this program could fail.
TEST(CallTrap, CatchesWhatAnAudioThreadMustNotCall) {
    std::mutex mutex;
    std::condition_variable condition;
    const auto firstCall = [](auto&& action) {
        action(); // its own first use finds the hidden function
        const CallTrap trap;
        action();
        return trap.FirstCall();
    };
    EXPECT_EQ(firstCall([] { std::vector<int> memory(1000); }), "malloc");
    std::vector<std::unique_ptr<int>> kept;
    kept.reserve(2);
    kept.push_back(std::make_unique<int>(1));
    kept.push_back(std::make_unique<int>(2));
    EXPECT_EQ(firstCall([&] { kept.pop_back(); }), "free");
    EXPECT_EQ(firstCall([&] { const std::lock_guard lock(mutex); }), "pthread_mutex_lock");
    EXPECT_EQ(firstCall([&] { (void)mutex.try_lock(); }), "pthread_mutex_trylock");
    EXPECT_EQ(firstCall([&] { condition.notify_one(); }), "pthread_cond_signal");
    EXPECT_EQ(firstCall([] { std::this_thread::sleep_for(std::chrono::nanoseconds(1)); }), "nanosleep");
    EXPECT_EQ(firstCall([] { std::this_thread::yield(); }), "sched_yield");
    EXPECT_EQ(firstCall([] { std::fclose(std::fopen("/dev/null", "r")); }), "fopen");
    EXPECT_EQ(firstCall([] { (void)std::sin(1.0F); }), "");
}

/// The modulator in all its states while its worker loads: paths change, keys are played, every parameter
/// moves.
TEST(ModulatorRealtime, TheAudioThreadAllocatesFreesLocksAndWaitsForNothing) {
    constexpr float rate = 44100.0F;
    constexpr u32 blockSize = 44;
    TemporaryFolder folder;
    std::vector<std::string> paths = {"", (folder / "missing.wav").string()};
    for (int i = 0; i < 4; ++i) {
        const auto path = folder / (std::to_string(i) + ".wav");
        WriteSound(path, Sine(100.0 * (i + 1), 0.2 * (i + 1), 44100, 1 + i % 2));
        paths.push_back(path.string());
    }
    std::array<u8, 128> held{};
    auto modulator = std::make_unique<VocoderModulator>();
    modulator->SetHeldNotes(held);
    modulator->Initialize(rate, blockSize);
    std::vector<float> buffers[5];
    for (auto& buffer : buffers) {
        buffer.assign(blockSize, 0.01F);
    }
    const std::array<const float*, 2> in{buffers[0].data(), buffers[1].data()};
    const std::array<float*, 3> out{buffers[2].data(), buffers[3].data(), buffers[4].data()};
    constexpr u32 windowSize = VocoderModulator::FirstParameter<VocoderModulator::Tracker>() +
                               Velmora::dsp::PitchTracker::analysisWindowSize;
    std::mt19937 random(5);
    const auto below = [&random](std::size_t count) { return static_cast<u32>(random() % count); };
    std::size_t loaded = 0;
    for (int block = 0; block < 20000; ++block) {
        const u32 id = below(VocoderModulator::parameterCount);
        const auto position = static_cast<float>(below(1001)) * 0.001F;
        const u32 note = 24 + below(48);
        const std::string& path = paths[below(paths.size())];
        const CallTrap trap;
        if (block % 40 == 0) {
            modulator->SetPath(below(4), path);
        }
        if (id != windowSize) {
            modulator->SetParameterNormalized(id, position);
        }
        if (block % 7 == 0) {
            held[note] = static_cast<u8>(1 - held[note]);
            held[note] != 0 ? modulator->NoteOn(note) : modulator->NoteOff(note);
        }
        if (block % 500 == 499) {
            modulator->Reset(block % 1000 == 999);
        }
        Velmora::dsp::ProcessContext context;
        context.inputs = in.data();
        context.numInputs = 2;
        context.outputs = out.data();
        context.numOutputs = 3;
        context.numFrames = blockSize;
        Velmora::dsp::RunChild(*modulator, context);
        ASSERT_EQ(trap.Count(), 0U) << trap.FirstCall() << " in block " << block << ", after parameter "
                                    << id;
        loaded += modulator->HasSample(0) ? 1 : 0;
        if (block % 200 == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    EXPECT_GT(loaded, 1000U) << "the samples came in while the blocks ran";
}

} // namespace
