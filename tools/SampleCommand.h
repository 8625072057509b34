// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Command.h"
#include "RenderOptions.h"
#include "SlotOptions.h"

#include <filesystem>
#include <vector>

namespace orphia::host {
class ModulatorSession;
struct SampleReport;
} // namespace orphia::host

namespace orphia::tools {

class RenderOutput;

/// orphia sample: tells what the sampler makes of files, or renders one of them through it.
class SampleCommand final : public Command {
public:
    explicit SampleCommand(CLI::App& app);

    bool IsChosen() const override;
    void Run() override;

private:
    void Check();
    void CheckNothingIsRendered() const;
    void Report() const;
    void Render() const;
    void RenderNote(host::ModulatorSession& session, RenderOutput& output, double fileSeconds) const;

    CLI::App* command;
    std::vector<std::filesystem::path> paths;
    double heldSeconds = 0.0;
    SlotOptions slot;
    RenderOptions options;
};

} // namespace orphia::tools
