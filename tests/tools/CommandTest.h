// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rigs/TestFiles.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

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
    Outcome Run(const std::string& arguments) const { return Shell("$ORPHIA " + arguments); }

    /// Runs a shell line there, in which orphia is $ORPHIA.
    Outcome Shell(const std::string& command) const {
        const std::string line = "cd '" + folder.Path().string() + "' && ORPHIA='" + ORPHIA_COMMAND +
                                 "' DOCS='" + ORPHIA_EXAMPLES + "/../docs'\n(" + command +
                                 "\n) >out.txt 2>err.txt </dev/null";
        const int result = std::system(line.c_str());
        Outcome outcome{WIFEXITED(result) ? WEXITSTATUS(result) : -1, ReadText(folder / "out.txt"),
                        ReadText(folder / "err.txt")};
        std::filesystem::remove(folder / "out.txt");
        std::filesystem::remove(folder / "err.txt");
        return outcome;
    }

    /// What a run prints that succeeds and warns of nothing, or of one thing.
    std::string Tell(const std::string& arguments, const std::string& warning = "") const {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, 0) << arguments << "\n" << outcome.err;
        EXPECT_EQ(outcome.err.empty(), warning.empty()) << arguments << "\n" << outcome.err;
        EXPECT_PRED2(Has, outcome.err, warning);
        return outcome.out;
    }

    /// What it renders.
    Sound Render(const std::string& arguments, const std::string& warning = "") const {
        Tell(arguments + " -o out.wav --bits float", warning);
        return ReadSound(folder / "out.wav");
    }

    TemporaryFolder folder;
};

} // namespace orphia::test
