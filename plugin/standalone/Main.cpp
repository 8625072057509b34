// SPDX-License-Identifier: GPL-3.0-or-later
// The program orphia-vx.
#include "host/common/Errors.h"
#include "plugin/standalone/Application.h"
#include "plugin/standalone/CommandLine.h"
#include "plugin/standalone/Headless.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

namespace {

using namespace orphia;

constexpr int fileStatus = 1;
constexpr int usageStatus = 2;

/// One line, whatever the message is made of.
int Fail(std::string message, int status) {
    std::replace_if(
        message.begin(), message.end(), [](unsigned char c) { return c < ' ' || c == 127; }, ' ');
    std::fprintf(stderr, "orphia-vx: %s\n", message.c_str());
    return status;
}

} // namespace

int main(int argc, char** argv) {
    standalone::HushAlsa();
    standalone::Job job;
    CLI::App app;
    standalone::Declare(app, job);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        constexpr std::size_t mostShown = 400;
        return Fail(std::string(error.what()).substr(0, mostShown) + "; see orphia-vx --help", usageStatus);
    }
    try {
        if (!job.isHeadless && !(job.voice.empty() && job.midi.empty() && job.output.empty())) {
            throw host::UsageError("--voice, --midi and --output need --headless");
        }
        return job.isHeadless ? standalone::RunHeadless(job) : standalone::RunWindow(job);
    } catch (const host::UsageError& error) {
        return Fail(error.what(), usageStatus);
    } catch (const std::exception& error) {
        return Fail(error.what(), fileStatus);
    }
}
