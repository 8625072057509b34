// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/options/InstrumentOptions.h"
#include "tools/songs/SongRender.h"
#include "tools/terminal/Command.h"

#include <string>
#include <vector>

namespace orphia::tools {

/// orphia render: plays the instrument with a voice, a song and a preset, into a file.
class RenderCommand final : public Command {
public:
    explicit RenderCommand(CLI::App& app);

    void Run() override;

private:
    void Check();
    void CheckSlots();
    InstrumentOptions::Wishes Wishes() const;

    SongJob job;
    std::vector<std::string> slotLists;
    std::string monitor;
    double tailSeconds = 0.0;
    InstrumentOptions options;
};

} // namespace orphia::tools
