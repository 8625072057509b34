// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parameters/ParameterCatalog.h"

#include <CLI/CLI.hpp>

#include <string>

namespace orphia::tools {

/// One subcommand of orphia. Its constructor declares it, with its options, to the command line.
class Command {
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// Its options, and what the command line says of them.
    const CLI::App& Line() const { return *command; }
    /// What --set and patterns name.
    virtual const host::ParameterCatalog& Parameters() const {
        return host::ParameterCatalog::OfInstrument();
    }
    /// Does it. Throws host::UsageError, host::FileError or Stopped.
    virtual void Run() = 0;

protected:
    Command(CLI::App& app, const std::string& name, const std::string& description)
        : command(app.add_subcommand(name, description)) {}

    CLI::App* const command;
};

} // namespace orphia::tools
