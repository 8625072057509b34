// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/terminal/Terminal.h"

#include <fmt/format.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace orphia::tools {

namespace {

volatile std::sig_atomic_t notedSignal = 0;

extern "C" void NoteSignal(int signal) { notedSignal = signal; }

} // namespace

bool IsTerminal(std::FILE* stream) { return isatty(fileno(stream)) != 0; }

void Warn(std::string_view message) { fmt::print(stderr, "orphia: warning: {}\n", message); }

void WatchStopSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        std::signal(signal, NoteSignal);
    }
}

int StopSignal() { return notedSignal; }

} // namespace orphia::tools
