// SPDX-License-Identifier: GPL-3.0-or-later
// The program orphia-vx.
#include "host/common/Errors.h"
#include "plugin/standalone/Application.h"
#include "plugin/standalone/Headless.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

namespace {

using namespace orphia;

constexpr int fileStatus = 1;
constexpr int usageStatus = 2;

/// One line, whatever the message is made of.
int Fail(std::string message, int status) {
    std::replace_if(
        message.begin(), message.end(), [](unsigned char c) { return c < ' ' || c == 127; }, ' ');
    std::fprintf(stderr, "orphia-vx: %s\n", message.c_str());
    return status;
}

} // namespace

int main(int argc, char** argv) {
    standalone::HushAlsa();
    standalone::Job job;
    CLI::App app{"Orphia VX, a vocoder that is played by keys: a window, or without one by --headless",
                 "orphia-vx"};
    app.set_version_flag("--version", "orphia-vx " ORPHIA_VERSION);
    app.add_flag("--headless", job.isHeadless,
                 "play without a window, over JACK or else ALSA, until Ctrl-C or the end of the song");
    app.add_option("--voice", job.voice, "a sound file in place of the input; without a song it is repeated")
        ->type_name("FILE");
    app.add_option("--midi", job.midi, "a song: a standard MIDI file of format 0 or 1")->type_name("FILE");
    app.add_option("--preset", job.preset, "a preset by its name (orphia presets lists them), or a file")
        ->type_name("NAME");
    app.add_option("--output", job.output, "write what is heard: .wav, .flac or .ogg")->type_name("FILE");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        constexpr std::size_t mostShown = 400;
        return Fail(std::string(error.what()).substr(0, mostShown) + "; see orphia-vx --help", usageStatus);
    }
    try {
        if (!job.isHeadless && !(job.voice.empty() && job.midi.empty() && job.output.empty())) {
            throw host::UsageError("--voice, --midi and --output need --headless");
        }
        return job.isHeadless ? standalone::RunHeadless(job) : standalone::RunWindow(job);
    } catch (const host::UsageError& error) {
        return Fail(error.what(), usageStatus);
    } catch (const std::exception& error) {
        return Fail(error.what(), fileStatus);
    }
}
