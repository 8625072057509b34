// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/CallTrap.h"
#include "rigs/ProcessorHost.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

using namespace orphia::test;

// Everything moves, and keys play samples while the worker brings others.
TEST(InstrumentRealtime, NoBlockNoSettingAndNoSampleAllocatesLocksOrWaits) {
    RandomPlayer player(1);
    ProcessorHost host;
    const TemporaryFolder folder;
    std::vector<std::string> paths = {"", "/missing.wav"};
    for (int i = 0; i < 4; ++i) {
        paths.push_back((folder / (std::to_string(i) + ".wav")).string());
        WriteSound(paths.back(), Sine(100.0 * (i + 1), 0.2 * (i + 1), 44100, 1 + i % 2));
    }
    std::vector<u32> knobs;
    for (u32 id = 0; id < ProcessorHost::parameterCount; ++id) {
        Velmora::Processor::ParameterInfoRecord record{};
        host.processor->GetParameterInfo(id, &record);
        const std::string_view name(record.name);
        // The exceptions: another window of the tracker, and a stretch to the beat that is very fast.
        if (!name.ends_with("AnalysisWindowSize") && !name.ends_with("TimeStretchSync")) {
            knobs.push_back(id);
        }
    }
    EXPECT_GE(knobs.size(), ProcessorHost::parameterCount - 13);
    std::size_t heardBlocks = 0;
    for (int block = 0; block < 12000; ++block) {
        if (block % 300 == 0) {
            host.LoadPreset();
            player.OneIn(2) ? player.BeSilent() : player.Speak(); // the sampler alone, or not
            host.Block(player);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        const CallTrap trap;
        if (player.OneIn(40)) {
            host.SetPath(player.Below(4), player.AnyOf(paths));
        }
        player.TurnKnobs(host, knobs, 20);
        player.SendMessages(host, 1);
        host.Send(player.AnyBytes());
        host.Block(player);
        host.EndBlock();
        ASSERT_EQ(trap.Count(), 0U) << trap.FirstCall() << " in block " << block;
        heardBlocks += host.Peak() > 1e-3F ? 1 : 0;
    }
    EXPECT_GT(heardBlocks, 1000U);
}

} // namespace
