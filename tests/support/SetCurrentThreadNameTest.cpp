// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/SetCurrentThreadName.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <thread>

namespace {

std::string NameAfterSetting(const std::string& name) {
    std::string seen;
    // On a thread of its own, so that the test program keeps its name.
    std::thread([&] {
        Velmora::SetCurrentThreadName(name);
        char buffer[64] = {};
        pthread_getname_np(pthread_self(), buffer, sizeof buffer);
        seen = buffer;
    }).join();
    return seen;
}

TEST(SetCurrentThreadName, NamesTheThreadAndCutsLongNamesBetweenCharacters) {
    EXPECT_EQ(NameAfterSetting("Resource worker 2"), "Resource worker");
    // The fifteenth byte is the first half of a character.
    EXPECT_EQ(NameAfterSetting("abcdefghijklmn\xC3\xA9"), "abcdefghijklmn");
    EXPECT_EQ(NameAfterSetting("abcdefghijklm\xC3\xA9xyz"), "abcdefghijklm\xC3\xA9");
}

} // namespace
