// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/SampleData.h"
#include "engine/AudioThread.h"
#include "engine/SampleManager.h"
#include "host/TestFiles.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace orphia::test;
using Velmora::u32;
using Velmora::dsp::SampleData;
using Base = Velmora::engine::SampleManager<SampleData, 12, 0>;

constexpr u32 slotCount = 12;
constexpr u32 busySlots = 4;
constexpr u32 lanes = 4;

std::atomic<int> living{0};
std::atomic<int> decoded{0};
std::atomic<int> destroyedLoading{0};

/// The real thing; its samples are counted.
class CountingManager final : public Base {
public:
    ~CountingManager() override { StopWorker(); }

private:
    std::shared_ptr<const SampleData> Load(u32 slot, const std::string& path) override {
        std::shared_ptr<const SampleData> sample = Base::Load(slot, path);
        if (sample == nullptr) {
            return nullptr;
        }
        ++living;
        ++decoded;
        const SampleData* data = sample.get();
        return {data, [sample](const SampleData*) mutable {
                    sample = nullptr;
                    --living;
                    AudioThread::CountFree();
                }};
    }
};

/// A few files of different lengths, then paths that give no sample, and the empty one.
class Files {
public:
    Files() {
        for (u32 i = 0; i < soundCount; ++i) {
            const std::string path = (folder / ("sound " + std::to_string(i))).string();
            const Sound sound = Sine(440.0, 0.02 * (i * i + 1), 44100, i % 2 == 0 ? 1 : 2);
            WriteSound(path, sound,
                       i % 2 == 0 ? SF_FORMAT_WAV | SF_FORMAT_FLOAT : SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
            frames.push_back(static_cast<u32>(sound.Frames()));
            paths.push_back(path);
        }
        WriteText(folder / "text", "no sound");
        paths.push_back((folder / "text").string());
        paths.push_back((folder / "missing").string());
        paths.emplace_back();
    }

    static constexpr u32 soundCount = 5;
    std::vector<std::string> paths;
    std::vector<u32> frames;

private:
    TemporaryFolder folder;
};

/// One host after the other, each with a life of a few loads.
class Lane {
public:
    Lane(const Files& filesToUse, u32 seed) : files(filesToUse), random(seed) {}

    void Run(u32 rounds) {
        for (u32 round = 0; round < rounds; ++round) {
            manager = std::make_unique<CountingManager>();
            asked.fill(static_cast<u32>(files.paths.size()) - 1);
            const u32 updatesToSee = Draw(9);
            u32 updates = 0;
            for (u32 block = 0; block < 20000 && updates < updatesToSee; ++block) {
                if (block % 5 == 0 && block < 3000) {
                    Change();
                }
                updates += Block();
                std::this_thread::yield();
            }
            if (round % 4 == 0) {
                Settle();
            }
            destroyedLoading += manager->IsLoading() ? 1 : 0;
            manager = nullptr;
            played.fill(nullptr);
        }
    }

    float heard = 0.0F;

private:
    u32 Draw(u32 count) { return static_cast<u32>(random() % count); }

    void Ask(u32 slot) {
        asked[slot] = Draw(static_cast<u32>(files.paths.size()));
        EXPECT_TRUE(manager->SetPath(slot, files.paths[asked[slot]]));
    }

    void Change() {
        const AudioThread audio;
        switch (Draw(8)) {
        case 0: // more requests in a block than there are slots
            for (u32 slot = 0; slot < slotCount; ++slot) {
                Ask(slot);
            }
            Ask(0);
            break;
        case 1: // two slots, one file
            asked[0] = asked[1] = Draw(Files::soundCount);
            manager->SetPath(0, files.paths[asked[0]]);
            manager->SetPath(1, files.paths[asked[0]]);
            break;
        default:
            Ask(Draw(busySlots));
        }
    }

    u32 Block() {
        const AudioThread audio;
        manager->RunResults();
        u32 filled = 0;
        for (const u32 slot : manager->Updated()) {
            played[slot] = manager->Sample(slot);
            filled += played[slot] != nullptr ? 1 : 0;
        }
        manager->ClearUpdated();
        manager->DispatchRequests();
        for (const auto& sample : played) {
            if (sample != nullptr) {
                heard += sample->Channel(0)[Draw(sample->Frames())];
            }
        }
        return filled;
    }

    void Settle() {
        do {
            Block();
            std::this_thread::yield();
        } while (manager->IsLoading());
        for (u32 slot = 0; slot < slotCount; ++slot) {
            const auto& sample = manager->Sample(slot);
            if (asked[slot] < Files::soundCount) {
                ASSERT_NE(sample, nullptr) << "slot " << slot;
                EXPECT_EQ(sample->Frames(), files.frames[asked[slot]]) << "slot " << slot;
            } else if (files.paths[asked[slot]].empty()) {
                EXPECT_EQ(sample, nullptr) << "slot " << slot;
            }
        }
    }

    const Files& files;
    std::mt19937 random;
    std::array<u32, slotCount> asked{};
    std::unique_ptr<CountingManager> manager;
    /// What a player holds, even a little longer than the manager lives.
    std::array<std::shared_ptr<const SampleData>, slotCount> played;
};

void Storm(const Files& files, u32 rounds) {
    std::vector<std::thread> threads;
    for (u32 lane = 0; lane < lanes; ++lane) {
        threads.emplace_back([&files, lane, rounds] { Lane(files, lane).Run(rounds); });
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
    ASSERT_EQ(living, 0);
    const std::size_t before = HeapInUse();
    Storm(files, Rounds());
    const std::size_t after = HeapInUse();
    EXPECT_EQ(living, 0) << "samples are left";
    EXPECT_EQ(AudioThread::faults, 0U) << "allocations and frees of audio threads";
    EXPECT_GT(destroyedLoading, 0);
    EXPECT_LE(after, before + 100'000) << "of " << decoded << " decoded samples";
    std::printf("%d samples decoded, %d managers destroyed while they loaded\n", decoded.load(),
                destroyedLoading.load());
}

} // namespace
