// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/terminal/Command.h"

#include <cstdint>
#include <filesystem>

namespace CLI {
class App;
}

namespace orphia::tools {

/// orphia info: tells what the engine is, and measures what an instance of it takes.
class InfoCommand final : public Command {
public:
    explicit InfoCommand(CLI::App& app);

    bool IsChosen() const override;
    void Run() override;

private:
    CLI::App* command;
    std::filesystem::path enginePath;
    std::uint32_t sampleRate = 44100;
};

} // namespace orphia::tools
