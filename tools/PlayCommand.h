// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Command.h"
#include "RenderOptions.h"

#include <filesystem>

namespace orphia::host {
class MidiPlayer;
}

namespace orphia::tools {

class RenderOutput;

/// orphia play: renders a MIDI file through the carrier.
class PlayCommand final : public Command {
public:
    explicit PlayCommand(CLI::App& app);

    bool IsChosen() const override;
    void Run() override;

private:
    void Check();
    void Render() const;
    void RenderSong(host::MidiPlayer& player, RenderOutput& output) const;

    CLI::App* command;
    std::filesystem::path songPath;
    double tailSeconds = 0.0;
    RenderOptions options;
};

} // namespace orphia::tools
