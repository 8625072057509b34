// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/samples/SampleManager.h"

#include "rigs/AudioThread.h"
#include "rigs/TestFiles.h"
#include "support/CLog.h"
#include "support/CSingleton.h"
#include "support/platform/Threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using namespace orphia::test;
using Velmora::u32;
using Slots = std::vector<u32>;
using Names = std::vector<std::string>;

/// Takes names for files: "bad" gives nothing, "throw" and "odd" raise.
class ScriptedSampleManager final : public Velmora::engine::SampleManager {
public:
    ~ScriptedSampleManager() override {
        SetOpen(true);
        StopWorker();
    }

    bool Ask(u32 slot, const std::string& path) {
        const AudioThread audio;
        return SetPath(slot, path);
    }
    void Block() {
        const AudioThread audio;
        RunResults();
        DispatchRequests();
    }
    void Settle() {
        do {
            Block();
            std::this_thread::yield();
        } while (IsLoading());
    }
    std::vector<u32> TakeUpdated() {
        std::vector<u32> taken(Updated().begin(), Updated().end());
        std::sort(taken.begin(), taken.end());
        ClearUpdated();
        return taken;
    }
    /// What the sample in a slot was read from, "" for none.
    std::string Held(u32 slot) {
        const std::lock_guard lock(mutex);
        return Sample(slot) == nullptr ? "" : origins.at(Sample(slot).get());
    }
    /// All names, in the order of decoding.
    Names Decoded() {
        const std::lock_guard lock(mutex);
        return decoded;
    }
    /// While not open, loads stay within the decoder.
    void SetOpen(bool open) {
        const std::lock_guard lock(mutex);
        isOpen = open;
        changed.notify_all();
    }
    void WaitForDecoding(const std::string& path) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return !decoded.empty() && decoded.back() == path; });
    }
    bool PostToWorker(Call command) { return PostCommand(command); }

private:
    std::shared_ptr<const Data> Load(u32 /*slot*/, const std::string& name) override {
        std::unique_lock lock(mutex);
        decoded.push_back(name);
        changed.notify_all();
        changed.wait(lock, [&] { return isOpen; });
        if (name == "throw") {
            throw std::runtime_error("broken decoder");
        }
        if (name == "odd") {
            throw 5;
        }
        if (name == "bad") {
            return nullptr;
        }
        auto sample = std::make_unique<const Data>(std::vector<float>(64, 0.5F), 1.0F, Data::Instrument{});
        origins[sample.get()] = name;
        return {sample.release(), [](const Data* old) {
                    AudioThread::CountFree();
                    std::default_delete<const Data>()(old);
                }};
    }

    std::mutex mutex; // guards all below
    std::condition_variable changed;
    bool isOpen = true;
    Names decoded;
    std::map<const Data*, std::string> origins;
};

class SampleManager : public testing::Test {
protected:
    SampleManager() { AudioThread::faults = 0; }
    void SetUp() override {
        if (!Velmora::Platform::HasThreads()) {
            GTEST_SKIP() << "built without a worker to hold up";
        }
    }
    ~SampleManager() override {
        EXPECT_EQ(AudioThread::faults, 0U) << "allocations and frees of audio threads";
    }
    void AskAndSettle(u32 slot, const std::string& path) {
        EXPECT_TRUE(manager.Ask(slot, path));
        manager.Settle();
    }

    ScriptedSampleManager manager;
};

TEST_F(SampleManager, OneFileForManySlotsIsReadOnceAndArrivesInOneBlock) {
    manager.SetOpen(false);
    for (const u32 slot : {7U, 2U, 0U}) {
        EXPECT_TRUE(manager.Ask(slot, "a"));
    }
    manager.Block();
    manager.WaitForDecoding("a");
    manager.Ask(9, "a"); // while it loads
    EXPECT_TRUE(manager.IsLoading());
    manager.SetOpen(true);
    while (manager.Updated().empty()) {
        manager.Block();
    }
    EXPECT_EQ(manager.TakeUpdated(), (Slots{0, 2, 7, 9}));
    EXPECT_FALSE(manager.IsLoading());
    manager.Ask(11, "a"); // when it is there: shared at once
    EXPECT_EQ(manager.TakeUpdated(), Slots{11});
    for (const u32 slot : {0U, 2U, 9U, 11U}) {
        EXPECT_EQ(manager.Sample(slot), manager.Sample(7)) << slot;
    }
    EXPECT_EQ(manager.Decoded(), Names{"a"});
}

TEST_F(SampleManager, AFileThatGivesNoSampleLeavesTheSlotUsable) {
    const TemporaryFolder folder;
    auto& log = Velmora::CLog::GetInstance();
    log.SetFile((folder / "log").string());
    for (const std::string bad : {"bad", "throw", "odd"}) {
        SCOPED_TRACE(bad);
        AskAndSettle(0, "a");
        AskAndSettle(5, "c");
        manager.TakeUpdated();
        AskAndSettle(0, bad);
        EXPECT_EQ(manager.Held(0), "a") << "the old sample stays";
        manager.Ask(0, bad);  // ignored
        AskAndSettle(1, bad); // waits for what does not come
        EXPECT_EQ(manager.TakeUpdated(), Slots{});
        const Names names = manager.Decoded();
        EXPECT_EQ(std::count(names.begin(), names.end(), bad), 1);
        // Any other file works, for both, and the slot that had failed passes it on at once.
        manager.Ask(1, "b");
        manager.Ask(0, "c");
        AskAndSettle(5, "");
        EXPECT_EQ(manager.Held(1), "b");
        manager.Ask(2, "c");
        EXPECT_EQ(manager.Held(2), "c");
        AskAndSettle(1, "");
    }
    log.SetFile("");
    const std::string text = ReadText(folder / "log");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
    EXPECT_PRED2(Has, text, "audio_engine |   error | Could not load throw: broken decoder");
    EXPECT_PRED2(Has, text, "Could not load odd: unknown exception");
}

TEST_F(SampleManager, AFullCommandQueuePostponesRequests) {
    manager.SetOpen(false);
    manager.Ask(0, std::string(256, 'x'));
    EXPECT_FALSE(manager.Ask(0, std::string(257, 'x')));
    EXPECT_FALSE(manager.Ask(12, "a"));
    manager.Block();
    manager.WaitForDecoding(std::string(256, 'x'));
    for (u32 i = 0; i < 12; ++i) {
        EXPECT_TRUE(manager.PostToWorker([](bool) { throw std::runtime_error("no harm"); }));
    }
    EXPECT_FALSE(manager.PostToWorker([](bool) {}));
    for (u32 slot = 12; slot-- > 0;) {
        manager.Ask(slot, std::to_string(slot));
    }
    manager.Ask(0, "the thirteenth");
    manager.Block();
    manager.SetOpen(true);
    manager.Settle();
    EXPECT_EQ(manager.Held(0), "the thirteenth");
    EXPECT_EQ(manager.Held(11), "11");
    EXPECT_EQ(manager.Decoded().size(), 1U + 12U) << "nothing is read that nobody wants any more";
}

struct Service : Velmora::CSingleton<Service> {
    ~Service() override { std::_Exit(7); }
};

TEST(SampleManagerAtTheEnd, AWorkerThatStillRunsMeetsTheServicesOfTheProcess) {
    const auto endTheProcess = [](bool hasWorker) {
        Service::GetInstance();
        static const auto* manager = hasWorker ? new ScriptedSampleManager : nullptr; // nobody ends it
        std::exit(manager != nullptr && manager->IsLoading() ? 1 : 0);
    };
    EXPECT_EXIT(endTheProcess(true), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(endTheProcess(false), testing::ExitedWithCode(7), "") << "else they end with it";
}

} // namespace
