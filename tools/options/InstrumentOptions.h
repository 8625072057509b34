// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/options/RenderOptions.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace orphia::host {
class Instrument;
}

namespace orphia::tools {

/// The options of the commands that play the instrument.
class InstrumentOptions : public RenderOptions {
public:
    InstrumentOptions(CLI::App& command, const std::string& rateDefault);

    /// What a command wants of the instrument, as NAME=VALUE: before the preset, which may have it otherwise,
    /// and over it, where only --set may.
    struct Wishes {
        std::vector<const char*> underPreset;
        std::vector<const char*> overPreset;
    };

    /// The carrier alone, with the preamp at the level where the monitor is as loud as the carrier itself;
    /// there a chord of many voices stays below full scale, whatever the preset's own levels are meant for.
    static const std::vector<const char*> carrierMonitor;

    /// The instrument at a rate, set up by preset, command and user. Throws EngineError, FileError and
    /// UsageError; warns of what the preset asks for in vain.
    std::unique_ptr<host::Instrument> MakeInstrument(std::uint32_t rate, const Wishes& wishes) const;

    /// Begins the preset that --save-preset asks for; null without.
    std::unique_ptr<host::PendingFile> BeginPresetOf(const host::Instrument& instrument) const;

private:
    std::filesystem::path enginePath;
    bool drivesSmoothly = false;
};

/// Declares --engine.
void AddEngineOption(CLI::App& command, std::filesystem::path& path);

} // namespace orphia::tools
