// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/audio/AudioFileWriter.h"
#include "host/common/Files.h"
#include "host/parameters/ParameterCatalog.h"
#include "host/parameters/ParameterInfo.h"
#include "host/presets/Preset.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace orphia::tools {

/// A preset of the instrument as users name it: a file, or a preset of the library. Throws FileError and
/// UsageError.
host::Preset OpenPreset(const std::string& pathOrName, std::vector<std::string>& warnings);

/// Refuses a length of --tail that nobody means: throws UsageError.
void CheckTail(double seconds);

/// Refuses a --rate that no engine runs at: throws UsageError.
void CheckRate(std::uint32_t rate);

/// The options that all commands share which render sound with an engine: its settings and the result's file.
class RenderOptions {
public:
    /// Declares them to a command; `rateDefault` tells what --rate is without it.
    RenderOptions(CLI::App& command, host::EngineTree tree, const std::string& rateDefault);
    RenderOptions(const RenderOptions&) = delete;
    RenderOptions& operator=(const RenderOptions&) = delete;

    /// The list of parameters was asked for, and is printed: the command is done.
    bool PrintListIfAsked() const;

    /// Refuses impossible options before any work: throws UsageError. No output may be one of the inputs.
    void Check(std::span<const std::filesystem::path> inputs);

    /// The preset that was asked for; without one, none but the built-in settings. Throws FileError and
    /// UsageError; warns of settings that are not known.
    host::Preset ReadPreset() const;
    /// What --set says, over all presets, once it is checked.
    const std::vector<host::ParameterSetting>& OwnSettings() const { return ownSettings; }

    /// Begins the preset that --save-preset asks for, and which appears when it is committed.
    std::unique_ptr<host::PendingFile> BeginPreset(host::Preset preset) const;
    bool SavesPreset() const { return !savePresetPath.empty(); }

    const std::filesystem::path& Output() const { return outputPath; }
    std::optional<host::SampleFormat> Format() const;
    /// 0 when none was given.
    std::uint32_t SampleRate() const { return sampleRate; }
    std::uint32_t Seed() const { return seed; }
    bool UsesLimiter() const { return !noLimiter; }
    /// Made when it is first asked for, as it takes a whole engine.
    const host::ParameterCatalog& Catalog() const;

private:
    void CheckFiles(std::span<const std::filesystem::path> inputs) const;

    const CLI::App& command;
    host::EngineTree tree;
    std::filesystem::path outputPath;
    std::string presetName;
    std::filesystem::path savePresetPath;
    std::vector<std::string> assignments;
    std::vector<host::ParameterSetting> ownSettings;
    std::string bits;
    std::uint32_t sampleRate = 0;
    std::uint32_t seed = 1;
    bool noLimiter = false;
    bool listsParameters = false;
    bool listsAll = false;
};

} // namespace orphia::tools
