// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace orphia::test {

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
