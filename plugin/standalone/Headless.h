// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>

namespace orphia::standalone {

/// What the command line asks for.
struct Job {
    bool isHeadless = false;
    std::filesystem::path voice;
    std::filesystem::path midi;
    /// A name of the library or a file; empty for the default one.
    std::string preset;
    /// What is heard is written there too.
    std::filesystem::path output;
};

/// ALSA says nothing by itself: what there is not is told by this program, in a line. JUCE undoes that
/// whenever it is through with looking for devices.
void HushAlsa();

/// Plays in real time until the song is over or a signal comes. Returns the exit code; throws UsageError,
/// FileError and EngineError.
int RunHeadless(const Job& job);

/// The text of a state with a preset as its sound; warnings go to the terminal. Throws UsageError and
/// FileError.
std::string StateOfPreset(const std::string& pathOrName);

} // namespace orphia::standalone
