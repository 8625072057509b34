// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/terminal/Command.h"

#include <string>

namespace CLI {
class App;
}

namespace orphia::tools {

/// orphia presets: lists the presets of the instrument, or shows one.
class PresetsCommand final : public Command {
public:
    explicit PresetsCommand(CLI::App& app);

    bool IsChosen() const override;
    void Run() override;

private:
    void List() const;
    void Show() const;

    CLI::App* command;
    std::string name;
};

} // namespace orphia::tools
