// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/SetCurrentThreadName.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <string>
#include <thread>

namespace {

std::string NameAfterSetting(const std::string& name) {
    std::string seen;
    // On a thread of its own, so that the test program keeps its name.
    std::thread([&] {
        Velmora::SetCurrentThreadName(name);
        std::array<char, 64> buffer{};
        pthread_getname_np(pthread_self(), buffer.data(), buffer.size());
        seen = buffer.data();
    }).join();
    return seen;
}

TEST(SetCurrentThreadName, NamesTheThreadAndCutsLongNamesBetweenCharacters) {
    EXPECT_EQ(NameAfterSetting("Resource worker"), "Resource worker");
    EXPECT_EQ(NameAfterSetting("Resource worker 2"), "Resource worker");
    // The fifteenth byte is the first half of a character.
    EXPECT_EQ(NameAfterSetting("abcdefghijklmn\xC3\xA9"), "abcdefghijklmn");
    EXPECT_EQ(NameAfterSetting("abcdefghijklm\xC3\xA9xyz"), "abcdefghijklm\xC3\xA9");
}

} // namespace
