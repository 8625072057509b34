// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/songs/PlayCommand.h"

#include "host/common/Errors.h"
#include "tools/options/PathOption.h"

#include <CLI/CLI.hpp>

namespace orphia::tools {

PlayCommand::PlayCommand(CLI::App& app)
    : Command(app, "play", "Render a MIDI file through the carrier alone"), options(*command, "44100") {
    AddPath(*command, "MIDIFILE", job.song, "the song: a standard MIDI file of format 0 or 1")->type_name("");
    command
        ->add_option("--tail", tailSeconds,
                     "go on after the song's end; else until it is silent, at most 30 s")
        ->type_name("SECONDS");
    command->footer(
        "Examples:\n"
        "  orphia play song.mid -o song.wav --set Osc1Waveform=square --set \"Release=1.5 s\" --tail 3\n"
        "  orphia play song.mid -o song.wav --set PolyphonyMode=legato --save-preset lead.json");
}

void PlayCommand::Run() {
    if (options.PrintListIfAsked()) {
        return;
    }
    Check();
    job.wishes.overPreset = InstrumentOptions::carrierMonitor;
    RenderSong(job, options);
}

void PlayCommand::Check() {
    if (job.song.empty() || options.Output().empty()) {
        throw host::UsageError("play needs a MIDIFILE and -o OUTPUT; see orphia play --help");
    }
    options.Check(job.Inputs());
    if (command->count("--tail") > 0) {
        CheckTail(tailSeconds);
        job.tail = tailSeconds;
    }
}

} // namespace orphia::tools
