// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace orphia::tools {

/// One subcommand of orphia. Its constructor declares it, with its options, to the command line.
class Command {
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// Whether the command line asks for this one.
    virtual bool IsChosen() const = 0;
    /// Does it. Throws host::UsageError, host::FileError or Stopped.
    virtual void Run() = 0;

protected:
    Command() = default;
};

} // namespace orphia::tools
