// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/Process.h"

#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace Velmora::Platform {

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

std::vector<std::string> Arguments(int argc, const char* const* argv) { return {argv, argv + argc}; }

void WatchStopSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        Watch(signal, NoteSignal);
    }
    Watch(SIGALRM, Remind);
    // A limit of the size of files is told as what it is, a write that fails.
    std::signal(SIGXFSZ, SIG_IGN);
}

int StopSignal() { return notedSignal; }

bool IsTerminal(std::FILE* stream) { return isatty(fileno(stream)) != 0; }

void ReplaceByProgram(std::vector<std::string> command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
}

} // namespace Velmora::Platform
