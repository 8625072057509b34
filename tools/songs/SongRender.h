// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/options/InstrumentOptions.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace orphia::tools {

/// What the instrument shall play, and how it ends. Empty paths are nothing.
struct SongJob {
    std::filesystem::path song;
    std::filesystem::path voice;
    /// For the samples from the first one on.
    std::vector<std::filesystem::path> slots;
    std::filesystem::path automation;
    bool loopsVoice = false;
    /// In seconds; without, until it is silent.
    std::optional<double> tail;
    bool showsMeters = false;
    InstrumentOptions::Wishes wishes;

    /// All files that are read.
    std::vector<std::filesystem::path> Inputs() const;
};

/// Renders it into the file of the options, and tells of it. Throws EngineError, FileError, UsageError and
/// Stopped.
void RenderSong(const SongJob& job, const InstrumentOptions& options);

} // namespace orphia::tools
