// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/UnitModule.h"

#include "rigs/ProbeModule.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::dsp {
namespace {

using Flags = std::vector<u8>;

TEST(UnitModuleTest, SetUpAndHardResetMarkAllAWriteOnlyWhatDiffersAndItsMarkStays) {
    Velmora::Test::ProbeModule<3> probe;
    const auto marks = [&probe] {
        const Flags taken = probe.parameterChanged;
        EXPECT_EQ(probe.anyParameterChanged, taken != Flags(3, 0));
        probe.ClearParameterChanges(false);
        return taken;
    };
    EXPECT_EQ(marks(), Flags(3, 0));
    probe.Initialize(48000.0F, 44);
    EXPECT_EQ(marks(), Flags(3, 1));
    for (const bool hard : {false, true}) {
        probe.SetParameterNormalized(1, 0.5F);
        probe.SetParameterNormalized(1, 0.0F);
        probe.SetParameterValue(1, 0.0F);
        probe.needsUpdate = false;
        probe.Reset(hard);
        EXPECT_TRUE(probe.needsUpdate);
        EXPECT_EQ(marks(), (hard ? Flags{1, 1, 1} : Flags{0, 1, 0})) << "also when the value returned";
    }
    probe.SetParameterNormalized(1, 0.0F);
    probe.SetParameterValue(0, 5.0F);
    EXPECT_EQ(marks(), (Flags{1, 0, 0}));
    probe.SetParameterNormalized(0, 0.5F);
    EXPECT_EQ(marks(), Flags(3, 0)) << "the comparison sees through a conversion that is due";
}

TEST(ParameterNameWriterTest, KeepsWhatFitsAndCountsWhatTheWholeNameTakes) {
    for (u32 capacity = 0; capacity < 20; ++capacity) {
        std::string memory(20, '#');
        ParameterNameWriter writer(memory.data(), capacity);
        writer.Append("Slot");
        writer.Append(4294967295U);
        writer.Append("_");
        EXPECT_EQ(writer.needed, 16U);
        std::string expected = std::string("Slot4294967295_").substr(0, writer.used);
        expected.resize(std::min(capacity, 16U), '\0');
        EXPECT_EQ(memory, expected.append(20 - expected.size(), '#')) << capacity;
    }
}

} // namespace
} // namespace Velmora::dsp
