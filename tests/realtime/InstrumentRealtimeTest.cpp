// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/CallTrap.h"
#include "rigs/RandomHost.h"

#include <gtest/gtest.h>

namespace {

using namespace orphia::test;
using Velmora::u32;

/// The exception: another window of the tracker.
bool MayAllocate(RandomHost& host, u32 id) {
    Velmora::Processor::ParameterInfoRecord record{};
    host.processor->GetParameterInfo(id, &record);
    return std::string_view(record.name).ends_with("AnalysisWindowSize");
}

TEST(InstrumentRealtime, NoBlockAndNoSettingAllocatesLocksOrWaits) {
    RandomHost host(1);
    std::vector<u32> ids;
    for (u32 id = 0; id < 2357; ++id) {
        if (!MayAllocate(host, id)) {
            ids.push_back(id);
        }
    }
    EXPECT_EQ(ids.size(), 2356U);
    host.LoadPreset();
    host.Block();
    for (int block = 0; block < 6000; ++block) {
        const CallTrap trap;
        for (u32 call = host.Below(20); call > 0; --call) {
            host.processor->SetParameter(ids[host.Below(static_cast<u32>(ids.size()))], host.Position());
        }
        host.NoteOn(static_cast<Velmora::u8>(host.Below(128)));
        host.PushAnything();
        host.Block();
        ASSERT_EQ(trap.Count(), 0U) << trap.FirstCall() << " in block " << block;
        if (block % 500 == 499) {
            host.LoadPreset();
        }
    }
}

} // namespace
