// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/options/InstrumentOptions.h"
#include "tools/songs/SongRender.h"
#include "tools/terminal/Command.h"

namespace orphia::tools {

/// orphia play: renders a MIDI file, and what is heard is the carrier.
class PlayCommand final : public Command {
public:
    explicit PlayCommand(CLI::App& app);

    void Run() override;

private:
    void Check();

    SongJob job;
    double tailSeconds = 0.0;
    InstrumentOptions options;
};

} // namespace orphia::tools
