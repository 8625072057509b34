// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Command.h"
#include "host/AudioFileWriter.h"
#include "host/ParameterCatalog.h"
#include "host/ParameterInfo.h"
#include "host/VocoderSession.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace orphia::tools {

struct VocodeSummary;

/// orphia vocode: lets the sound of one file speak with the voice of another.
class VocodeCommand final : public Command {
public:
    explicit VocodeCommand(CLI::App& app);

    bool IsChosen() const override;
    void Run() override;

private:
    void CheckFiles() const;
    std::optional<host::SampleFormat> Format() const;
    std::vector<host::ParameterSetting> ParseAssignments() const;
    void ApplySettings(host::VocoderSession& session, const std::vector<host::ParameterSetting>& own) const;
    void Render(const std::vector<host::ParameterSetting>& own);
    void PrintSummary(const VocodeSummary& summary) const;

    CLI::App* command;
    std::filesystem::path modulatorPath;
    std::filesystem::path carrierPath;
    std::filesystem::path outputPath;
    std::filesystem::path presetPath;
    std::filesystem::path savePresetPath;
    std::vector<std::string> assignments;
    std::string bits;
    /// 0 for the higher one of the files' rates.
    std::uint32_t sampleRate = 0;
    std::uint32_t seed = host::VocoderSession::defaultSeed;
    double tailSeconds = 0.0;
    bool loopsCarrier = false;
    bool showsMeters = false;
    bool listsParameters = false;
    bool listsAll = false;
    host::ParameterCatalog catalog;
};

} // namespace orphia::tools
