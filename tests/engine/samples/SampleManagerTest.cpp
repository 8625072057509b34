// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/ScriptedSampleManager.h"
#include "rigs/TestFiles.h"
#include "support/CLog.h"

#include <gtest/gtest.h>

namespace {

using namespace orphia::test;
using Slots = std::vector<u32>;

class SampleManager : public testing::Test {
protected:
    SampleManager() { AudioThread::faults = 0; }
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

TEST_F(SampleManager, ASlotNeverWaitsForItself) {
    AskAndSettle(1, "once");
    manager.Ask(1, "a"); // not dispatched, so that slot 0 has to load, and slot 1 to wait for it
    manager.Ask(0, "once");
    AskAndSettle(1, "once");
    EXPECT_EQ(manager.Held(0), "");
    AskAndSettle(0, "b");
    manager.Ask(0, "once");
    EXPECT_EQ(manager.Held(0), "once");
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
    const auto endTheProcess = [] {
        static const auto& manager = *new ScriptedSampleManager;
        Service::GetInstance();
        std::exit(manager.IsLoading() ? 1 : 0);
    };
    EXPECT_EXIT(endTheProcess(), testing::ExitedWithCode(0), "");
}

} // namespace
