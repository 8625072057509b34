// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/terminal/Command.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace orphia::tools {

/// What may stand in place of a word that is being typed.
struct Completion {
    struct Candidate {
        std::string text;
        /// May be empty.
        std::string description;
    };
    std::vector<Candidate> candidates;
    /// Whether a file may, too.
    bool allowsFiles = false;
};

/// Completes the last of the words behind the program's name, which may be empty, from what the commands
/// declare and what the instrument and the presets are called.
Completion Complete(const CLI::App& program, std::span<const std::unique_ptr<Command>> commands,
                    std::span<const std::string> words);

/// For the scripts of the shells: a candidate a line, behind a tab its description; a line of a single "/"
/// says that files may stand there, too.
void PrintCompletion(const Completion& completion);

} // namespace orphia::tools
