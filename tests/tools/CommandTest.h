// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rigs/TestFiles.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace orphia::test {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// Runs the built command and looks at exit status, streams and files, as a user would.
class CommandTest : public testing::Test {
protected:
    /// Runs orphia with the arguments of a shell line, in the folder of the test.
    Outcome Run(const std::string& arguments) const {
        const std::string line = "cd '" + folder.Path().string() + "' && '" + ORPHIA_COMMAND + "' " +
                                 arguments + " >out.txt 2>err.txt </dev/null";
        const int result = std::system(line.c_str());
        Outcome outcome{WIFEXITED(result) ? WEXITSTATUS(result) : -1, ReadText(folder / "out.txt"),
                        ReadText(folder / "err.txt")};
        std::filesystem::remove(folder / "out.txt");
        std::filesystem::remove(folder / "err.txt");
        return outcome;
    }

    void ExpectFailure(const std::string& arguments, int status, const std::string& reason) const {
        const std::vector<std::string> before = folder.Names();
        const Outcome outcome = Run(arguments);
        SCOPED_TRACE(arguments + "\n" + outcome.err);
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.out, "");
        EXPECT_TRUE(outcome.err.starts_with("orphia: "));
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
        EXPECT_NE(outcome.err.find(reason), std::string::npos) << reason;
        EXPECT_EQ(folder.Names(), before) << "files are left";
    }

    TemporaryFolder folder;
};

} // namespace orphia::test
