// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace orphia::test {

/// What this process holds besides its code: a host that has closed all its instances holds no more than
/// before.
struct HeldResources {
    static std::size_t Entries(const char* folder) {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
    }

    void ExpectNoMoreNow() const {
        const HeldResources now;
        EXPECT_EQ(now.threads, threads);
        EXPECT_EQ(now.files, files);
        EXPECT_LT(now.memory, memory + (std::size_t{1} << 20U));
    }

    std::size_t threads = Entries("/proc/self/task");
    std::size_t files = Entries("/proc/self/fd");
    std::size_t memory = mallinfo2().uordblks;
};

} // namespace orphia::test
