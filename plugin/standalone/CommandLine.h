// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace CLI {
class App;
}

namespace orphia::standalone {

struct Job;

/// What the program takes, and what --help and the manual tell of it. The app fills the job when it parses,
/// so the job must outlive it.
void Declare(CLI::App& app, Job& job);

} // namespace orphia::standalone
