// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <utility>

namespace orphia::test {

/// Counts, during its life and for the thread that made it, the calls that an audio thread must not make and
/// that may go without the system: memory is got or given back, a lock is taken, a clock or the buffer of a
/// file is touched, something is thrown. This program puts its own functions in place of the system's for
/// that, whichever library calls them. One at a time per thread.
class CallTrap {
public:
    CallTrap() { state = {true, 0, ""}; }
    ~CallTrap() { state.isArmed = false; }
    CallTrap(const CallTrap&) = delete;
    CallTrap& operator=(const CallTrap&) = delete;

    std::size_t Count() const { return state.calls; }
    /// The name of the function that was called first, empty for none.
    const char* FirstCall() const { return state.firstCall; }

    /// What each of the program's own functions tells.
    static void Note(const char* function) {
        if (state.isArmed && state.calls++ == 0) {
            state.firstCall = function;
        }
    }

    /// During its life no call counts.
    struct Pause {
        Pause() : wasArmed(std::exchange(state.isArmed, false)) {}
        ~Pause() { state.isArmed = wasArmed; }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
        bool wasArmed;
    };

private:
    struct State {
        bool isArmed;
        std::size_t calls;
        const char* firstCall;
    };
    static inline constinit thread_local State state{false, 0, ""};
};

/// Tells whether, during its life, the thread that made it entered the system at all, by whatever way: the
/// kernel itself hands back the first such call, which is noted and then made. One at a time per thread, and
/// around code that starts no thread.
class SystemCallTrap {
public:
    SystemCallTrap();
    ~SystemCallTrap();
    SystemCallTrap(const SystemCallTrap&) = delete;
    SystemCallTrap& operator=(const SystemCallTrap&) = delete;

    /// Readies the calling thread, once. False on a system whose kernel (before Linux 5.11) or processor this
    /// is not for; then nothing is ever caught.
    static bool Prepare();

    static constexpr long none = -1;
    /// The number of the first call, or `none`.
    long FirstCall() const;
};

} // namespace orphia::test
