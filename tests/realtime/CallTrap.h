// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>

namespace orphia::test {

/// Counts, during its life and for the thread that made it, the calls that an audio thread must not make:
/// memory is got or given back, a lock is taken, something is waited for, a file is touched. This program
/// puts its own functions in place of the system's for that, whichever library calls them. One at a time per
/// thread.
class CallTrap {
public:
    CallTrap();
    ~CallTrap();
    CallTrap(const CallTrap&) = delete;
    CallTrap& operator=(const CallTrap&) = delete;

    std::size_t Count() const;
    /// The name of the function that was called first, empty for none.
    std::string FirstCall() const;
};

} // namespace orphia::test
