// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/terminal/Command.h"

#include <string>

namespace CLI {
class App;
}

namespace orphia::tools {

/// orphia params: lists the parameters of the instrument.
class ParamsCommand final : public Command {
public:
    explicit ParamsCommand(CLI::App& app);

    bool IsChosen() const override;
    void Run() override;

private:
    CLI::App* command;
    std::string pattern;
    bool writesMarkdown = false;
};

} // namespace orphia::tools
