// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/platform/Process.h"

#include "support/platform/windows/WideText.h"
#include "support/platform/windows/WindowsApi.h"

#include <io.h>
#include <process.h>
#include <shellapi.h>

#include <atomic>
#include <csignal>

namespace Velmora::Platform {

namespace {

std::atomic<int> notedSignal{0};

/// On a thread of the system's own. When the console closes or the user leaves, the process ends as soon as
/// this returns, or after some seconds; a render that stops needs less, and ends the process itself.
BOOL WINAPI NoteEvent(DWORD event) {
    const bool isKey = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
    notedSignal = isKey ? SIGINT : SIGTERM;
    if (!isKey) {
        Sleep(INFINITE);
    }
    return TRUE;
}

/// One argument as the runtime of a program that is started splits it off again.
std::wstring Quoted(const std::wstring& text) {
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t letter : text) {
        if (letter == L'"') {
            quoted.append(backslashes + 1, L'\\');
        }
        backslashes = letter == L'\\' ? backslashes + 1 : 0;
        quoted += letter;
    }
    quoted.append(backslashes, L'\\');
    return quoted + L'"';
}

} // namespace

/// The system's own line, since the runtime's arguments have lost what its code page does not have.
std::vector<std::string> Arguments(int argc, const char* const* argv) {
    int count = 0;
    LPWSTR* const words = CommandLineToArgvW(GetCommandLineW(), &count);
    if (words == nullptr) {
        return {argv, argv + argc};
    }
    std::vector<std::string> arguments;
    for (int n = 0; n < count; ++n) {
        arguments.push_back(ToUtf8(words[n]));
    }
    LocalFree(words);
    return arguments;
}

void WatchStopSignals() {
    SetConsoleCtrlHandler(NoteEvent, TRUE);
    SetConsoleOutputCP(CP_UTF8);
}

int StopSignal() { return notedSignal; }

bool IsTerminal(std::FILE* stream) { return _isatty(_fileno(stream)) != 0; }

/// There is no such thing here: this program waits for the other one and ends as it does.
void ReplaceByProgram(std::vector<std::string> command) {
    std::vector<std::wstring> quoted;
    for (const std::string& argument : command) {
        quoted.push_back(Quoted(ToWide(argument)));
    }
    std::vector<const wchar_t*> arguments;
    for (const std::wstring& argument : quoted) {
        arguments.push_back(argument.c_str());
    }
    arguments.push_back(nullptr);
    const std::intptr_t status = _wspawnvp(_P_WAIT, ToWide(command.front()).c_str(), arguments.data());
    if (status >= 0) {
        std::exit(static_cast<int>(status));
    }
}

} // namespace Velmora::Platform
