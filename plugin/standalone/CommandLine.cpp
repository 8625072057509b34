// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/CommandLine.h"

#include "plugin/standalone/Headless.h"

#include <CLI/CLI.hpp>

namespace orphia::standalone {

void Declare(CLI::App& app, Job& job) {
    app.name("orphia-vx");
    app.description("Orphia VX, a vocoder that is played by keys: a window, or without one by --headless");
    app.footer("The window goes on with the sound and the devices of the last time.\n\n"
               "Examples:\n"
               "  orphia-vx --preset talking-pad\n"
               "  orphia-vx --headless --voice voice.wav --midi song.mid --output song.flac\n\n"
               "Exit status:\n"
               "  0  done\n"
               "  1  a file or device could not be used\n"
               "  2  the command line was wrong\n\n"
               "Environment:\n"
               "  ORPHIA_ENGINE  the engine's library, in place of its own\n\n"
               "Files:\n"
               "  ~/.config/orphia-vx/devices.xml           devices, or in $XDG_CONFIG_HOME\n"
               "  ~/.local/state/orphia-vx/last-state.json  the last sound, or in $XDG_STATE_HOME\n\n"
               "See also:\n"
               "orphia(1), orphia-presets(1)");
    app.set_version_flag("--version", "orphia-vx " ORPHIA_VERSION);
    app.add_flag("--headless", job.isHeadless,
                 "play without a window, over JACK or else ALSA, until Ctrl-C or the end of the song");
    app.add_option("--voice", job.voice, "a sound file in place of the input; without a song it is repeated")
        ->type_name("FILE");
    app.add_option("--midi", job.midi, "a song: a standard MIDI file of format 0 or 1")->type_name("FILE");
    app.add_option("--preset", job.preset, "a preset by its name (orphia presets lists them), or a file")
        ->type_name("NAME");
    app.add_option("--output", job.output, "write what is heard: .wav, .flac or .ogg")->type_name("FILE");
}

} // namespace orphia::standalone
