// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/PluginRig.h"
#include "realtime/CallTrap.h"

#include <gtest/gtest.h>

namespace orphia::test {

TEST(PluginAudioThread, CallsNothingOfTheSystemWhateverIsGoingOn) {
    const bool isTold = SystemCallTrap::Prepare();
    WhateverIsGoingOn([isTold](const auto& process) {
        std::size_t calls = 0;
        std::string first;
        long systemCall = SystemCallTrap::none;
        {
            const CallTrap trap;
            process();
            calls = trap.Count();
            first = trap.FirstCall();
        }
        EXPECT_EQ(calls, 0U) << first;
        if (isTold) {
            const SystemCallTrap trap;
            process();
            systemCall = trap.FirstCall();
        }
        EXPECT_EQ(systemCall, SystemCallTrap::none);
    });
}

} // namespace orphia::test
