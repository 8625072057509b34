// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/terminal/Terminal.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <initializer_list>

namespace orphia::tools {

namespace {

volatile std::sig_atomic_t notedSignal = 0;

/// Once a second from the first signal on: it ends also the wait that began just behind it.
extern "C" void Remind(int /*signal*/) { alarm(1); }

extern "C" void NoteSignal(int signal) {
    notedSignal = signal;
    alarm(1);
}

/// A signal that is ignored, as under nohup, stays so. A blocked call ends with it and is not begun anew.
void Watch(int signal, void (*handler)(int)) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) {
        action = {};
        action.sa_handler = handler;
        sigaction(signal, &action, nullptr);
    }
}

} // namespace

bool IsTerminal(std::FILE* stream) { return isatty(fileno(stream)) != 0; }

std::string LineOf(std::string_view message) {
    constexpr std::size_t most = 480;
    constexpr std::size_t ending = 200;
    std::string line(message);
    if (line.size() > most) {
        // Not within a character of several bytes.
        const auto start = [&line](std::size_t at) {
            while (at > 0 && (static_cast<unsigned char>(line[at]) & 0xC0U) == 0x80U) {
                --at;
            }
            return at;
        };
        const std::size_t from = start(most - ending);
        line.replace(from, start(line.size() - ending) - from, "...");
    }
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < ' ' || c == 127; }, ' ');
    return line;
}

void Warn(std::string_view message) { fmt::print(stderr, "orphia: warning: {}\n", LineOf(message)); }

void WatchStopSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        Watch(signal, NoteSignal);
    }
    Watch(SIGALRM, Remind);
    // A limit of the size of files is told as what it is, a write that fails.
    std::signal(SIGXFSZ, SIG_IGN);
}

int StopSignal() { return notedSignal; }

} // namespace orphia::tools
