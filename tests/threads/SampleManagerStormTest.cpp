// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/ScriptedSampleManager.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace orphia::test;

constexpr u32 slotCount = RandomRig::slotCount;
constexpr u32 busySlots = 4;

std::atomic<int> destroyedLoading{0};

/// A few files of different lengths, then paths that give no sample, and the empty one.
class Files {
public:
    Files() {
        for (int i = 0; i < 5; ++i) {
            paths.push_back((folder / ("sound " + std::to_string(i))).string());
            WriteSound(paths.back(), Sine(440.0, 0.02 * (i * i + 1), 44100, 1 + i % 2),
                       i % 2 == 0 ? SF_FORMAT_WAV | SF_FORMAT_FLOAT : SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
        }
        WriteText(folder / "text: bad", "no sound");
        paths.insert(paths.end(), {(folder / "text: bad").string(), (folder / "missing: bad").string(), ""});
    }

    std::vector<std::string> paths;

private:
    TemporaryFolder folder;
};

/// One host with a life of a few loads. Tells what was heard.
float Live(const std::vector<std::string>& paths, u32 seed, bool settles) {
    // What a player holds, even a little longer than the manager lives.
    std::array<std::shared_ptr<const Velmora::dsp::SampleData>, slotCount> played;
    RandomRig rig(seed);
    const u32 updatesToSee = rig.Draw(9);
    u32 updates = 0;
    float heard = 0.0F;
    for (u32 block = 0; block < 20000 && updates < updatesToSee; ++block) {
        if (block % 5 == 0 && block < 3000) {
            rig.Ask(rig.Draw(busySlots), paths[rig.Draw(paths.size())]);
            // Now and then, more requests in a block than there are slots.
            for (u32 slot = rig.Draw(8) == 0 ? 0 : slotCount; slot < slotCount; ++slot) {
                rig.Ask(slot, paths[rig.Draw(paths.size())]);
            }
        }
        for (const u32 slot : rig.Block()) {
            const AudioThread audio;
            played[slot] = rig.manager.Sample(slot);
            updates += played[slot] != nullptr ? 1 : 0;
        }
        for (const auto& sample : played) {
            heard += sample != nullptr ? sample->Channel(0)[rig.Draw(sample->Frames())] : 0.0F;
        }
        std::this_thread::yield();
    }
    if (settles) {
        rig.Settle();
    }
    destroyedLoading += rig.manager.IsLoading() ? 1 : 0;
    return heard;
}

void Storm(const Files& files, u32 rounds) {
    std::vector<std::thread> threads;
    for (u32 lane = 0; lane < 4; ++lane) {
        threads.emplace_back([&files, lane, rounds] {
            for (u32 round = 0; round < rounds; ++round) {
                EXPECT_TRUE(std::isfinite(Live(files.paths, lane + 4 * round, round % 4 == 0)));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

std::size_t HeapInUse() {
    const auto heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

u32 Rounds() {
    const char* rounds = std::getenv("ORPHIA_STORM_ROUNDS");
    return rounds != nullptr ? static_cast<u32>(std::strtoul(rounds, nullptr, 10)) : 50;
}

// To be run under the thread sanitizer, too.
TEST(SampleManagerStorm, LoadsWhileBlocksRunAndGivesAllMemoryBack) {
    const Files files;
    Storm(files, 3); // libsndfile and the heap have what they keep
    ASSERT_EQ(ScriptedSampleManager::livingSamples, 0);
    const std::size_t before = HeapInUse();
    Storm(files, Rounds());
    const std::size_t after = HeapInUse();
    EXPECT_EQ(ScriptedSampleManager::livingSamples, 0) << "samples are left";
    EXPECT_EQ(AudioThread::faults, 0U) << "allocations and frees of audio threads";
    EXPECT_GT(destroyedLoading, 0);
    EXPECT_LE(after, before + 100'000);
    std::printf("%d samples decoded, %d managers destroyed while they loaded\n",
                ScriptedSampleManager::allSamples.load(), destroyedLoading.load());
}

} // namespace
