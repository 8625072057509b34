// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/options/InstrumentOptions.h"
#include "tools/sample/SlotOptions.h"
#include "tools/terminal/Command.h"

#include <filesystem>
#include <vector>

namespace orphia::tools {

/// orphia sample: tells what the sampler makes of files, or renders one of them through it.
class SampleCommand final : public Command {
public:
    explicit SampleCommand(CLI::App& app);

    void Run() override;

private:
    void Check();
    void CheckNothingIsRendered() const;
    void Report() const;
    void Render() const;
    double HeldSeconds(const host::Instrument& instrument, double playedSeconds) const;

    std::vector<std::filesystem::path> paths;
    double heldSeconds = 0.0;
    SlotOptions slot;
    InstrumentOptions options;
};

} // namespace orphia::tools
