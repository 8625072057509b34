// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/terminal/Command.h"

#include <cstdint>
#include <filesystem>
#include <string>

/// The commands that only tell.
namespace orphia::tools {

/// orphia params: lists the parameters of the instrument.
class ParamsCommand final : public Command {
public:
    explicit ParamsCommand(CLI::App& app);

    void Run() override;

private:
    std::string pattern;
    bool writesMarkdown = false;
};

/// orphia presets: lists the presets of the instrument, or shows one.
class PresetsCommand final : public Command {
public:
    explicit PresetsCommand(CLI::App& app);

    void Run() override;

private:
    void List() const;
    void Show() const;

    std::string name;
};

/// orphia info: tells what the engine is, and measures what an instance of it takes.
class InfoCommand final : public Command {
public:
    explicit InfoCommand(CLI::App& app);

    void Run() override;

private:
    std::filesystem::path enginePath;
    std::uint32_t sampleRate = 44100;
};

} // namespace orphia::tools
