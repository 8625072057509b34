// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>

namespace orphia::test {

/// Counts, during its life and for the thread that made it, the calls that an audio thread must not make:
/// memory is got or given back, a lock is taken, something is waited for, a file or a clock is touched,
/// something is thrown. This program puts its own functions in place of the system's for that, whichever
/// library calls them. One at a time per thread.
class CallTrap {
public:
    CallTrap();
    ~CallTrap();
    CallTrap(const CallTrap&) = delete;
    CallTrap& operator=(const CallTrap&) = delete;

    std::size_t Count() const;
    /// The name of the function that was called first, empty for none.
    std::string FirstCall() const;

    /// What each of the program's own functions tells.
    static void Note(const char* function);

private:
    friend class CallTrapPause;

    struct State {
        bool isArmed = false;
        std::size_t calls = 0;
        const char* firstCall = "";
    };
    static thread_local State state;
};

/// During its life no call counts.
class CallTrapPause {
public:
    CallTrapPause() : wasArmed(CallTrap::state.isArmed) { CallTrap::state.isArmed = false; }
    ~CallTrapPause() { CallTrap::state.isArmed = wasArmed; }
    CallTrapPause(const CallTrapPause&) = delete;
    CallTrapPause& operator=(const CallTrapPause&) = delete;

private:
    bool wasArmed;
};

} // namespace orphia::test
