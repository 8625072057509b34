// SPDX-License-Identifier: GPL-3.0-or-later
// write_manual FOLDER DATE: the manual page of the program orphia-vx, from what its --help says.
#include "plugin/standalone/CommandLine.h"
#include "plugin/standalone/Headless.h"
#include "tools/help/ManualPages.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

int main(int count, char** words) {
    if (count != 3) {
        std::fputs("write_manual FOLDER DATE\n", stderr);
        return 2;
    }
    try {
        orphia::standalone::Job job;
        CLI::App app;
        orphia::standalone::Declare(app, job);
        orphia::tools::WriteManualPages(app, words[1], ORPHIA_VERSION, words[2]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "write_manual: %s\n", error.what());
        return 1;
    }
}
