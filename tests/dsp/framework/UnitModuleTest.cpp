// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/UnitModule.h"

#include "rigs/ProbeModule.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Velmora::dsp {
namespace {

using Flags = std::vector<u8>;

struct Probe : Test::ProbeModule<3> {
    using ProbeModule::ProbeModule;
    /// The marks and their common flag, which must agree.
    Flags Marks() {
        EXPECT_EQ(anyParameterChanged, parameterChanged != Flags(3, 0));
        return parameterChanged;
    }
};

TEST(UnitModuleTest, InitializeAndHardResetMarkEveryParameterAndASoftResetNone) {
    std::vector<std::string> calls;
    Probe probe("Probe", &calls);
    EXPECT_EQ(probe.Marks(), Flags(3, 0));
    probe.Initialize(48000.0F, 44);
    EXPECT_EQ(calls, (std::vector<std::string>{"Probe OnInitialize 48000 44", "Probe OnReset hard"}));
    EXPECT_EQ(probe.Marks(), Flags(3, 1));
    EXPECT_TRUE(probe.needsUpdate);
    probe.ClearParameterChanges(false);
    probe.SetParameterNormalized(1, 0.5F);
    for (const bool hard : {false, true}) {
        probe.needsUpdate = false;
        probe.Reset(hard);
        EXPECT_EQ(calls.back(), hard ? "Probe OnReset hard" : "Probe OnReset soft");
        EXPECT_EQ(probe.Marks(), (hard ? Flags{1, 1, 1} : Flags{0, 1, 0})) << "a pending mark stays";
        EXPECT_TRUE(probe.needsUpdate);
    }
}

TEST(UnitModuleTest, OnlyAWriteOfAnotherValueMarksAndItsMarkStaysUntilItIsCleared) {
    Probe probe;
    probe.SetParameterNormalized(1, 0.0F);
    probe.SetParameterValue(2, 0.0F);
    EXPECT_EQ(probe.Marks(), Flags(3, 0));
    probe.SetParameterNormalized(1, 0.5F);
    probe.SetParameterNormalized(1, 0.0F);
    probe.SetParameterValue(1, 0.0F);
    EXPECT_EQ(probe.Marks(), (Flags{0, 1, 0})) << "also when the value returns";
    probe.ClearParameterChanges(false);
    probe.SetParameterValue(0, 5.0F);
    EXPECT_EQ(probe.Marks(), (Flags{1, 0, 0}));
    probe.ClearParameterChanges(false);
    // The comparison sees through a conversion that is still due.
    probe.SetParameterNormalized(0, 0.5F);
    probe.SetParameterValue(0, 5.0F);
    EXPECT_EQ(probe.Marks(), Flags(3, 0));
    probe.ClearParameterChanges(true);
    EXPECT_EQ(probe.Marks(), Flags(3, 1));
}

} // namespace
} // namespace Velmora::dsp
