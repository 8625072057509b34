// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/songs/RenderCommand.h"

#include "host/common/Errors.h"
#include "host/instrument/Instrument.h"
#include "tools/options/PathOption.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <string_view>

namespace orphia::tools {

namespace {

using host::UsageError;

void AppendSlots(std::string_view list, std::vector<std::filesystem::path>& paths) {
    for (;;) {
        const auto comma = list.find(',');
        paths.push_back(host::PathOf(list.substr(0, comma)));
        if (comma == std::string_view::npos) {
            return;
        }
        list.remove_prefix(comma + 1);
    }
}

} // namespace

RenderCommand::RenderCommand(CLI::App& app)
    : Command(app, "render", "Play the instrument: a voice speaks, a song sings"),
      options(*command, "that of the voice, at least 44100") {
    AddPath(*command, "--voice", job.voice, "a sound file for the external input")->type_name("FILE");
    command
        ->add_option("--slots", slotLists,
                     "sound files for the samples instead, separated by commas, up to 12; an empty name "
                     "leaves a sample as it is; may be repeated")
        ->type_name("FILES")
        ->allow_extra_args(false);
    AddPath(*command, "--midi", job.song, "the song: a standard MIDI file of format 0 or 1")
        ->type_name("FILE");
    AddPath(*command, "--automation", job.automation,
            "parameters that move: lines of time,parameter,value[,move]; a time in seconds or as "
            "bar:beat, a move jump or linear")
        ->type_name("FILE");
    command->add_option("--monitor", monitor, "hear what goes into the vocoder: carrier or modulator")
        ->type_name("WHAT")
        ->transform(CLI::IsMember({"carrier", "modulator"}));
    command->add_flag("--loop", job.loopsVoice, "begin the voice anew when it ends, up to the song's end");
    command
        ->add_option("--tail", tailSeconds,
                     "go on after the end of song and voice; else until it is silent, at most 30 s")
        ->type_name("SECONDS");
    command->add_flag("--meters", job.showsMeters, "show band meters and lights");
    command->footer(
        "The result is as long as the longer one of song and voice. A failed run leaves what was there.\n\n"
        "Examples:\n"
        "  orphia render --voice voice.wav --midi song.mid -o out.wav\n"
        "  orphia render --voice voice.wav --midi song.mid -o out.flac --preset mine.json --loop --tail 2\n"
        "  orphia render --voice voice.wav --midi song.mid -o out.wav --set Wet=0.8 --set "
        "FX1_ModuleType=delay\n"
        "  orphia render --slots kick.wav,snare.wav --midi beat.mid -o out.wav\n"
        "  orphia render --voice voice.wav -o out.wav --set Carrier_PitchTrack=on");
}

void RenderCommand::Run() {
    if (options.PrintListIfAsked()) {
        return;
    }
    Check();
    RenderSong(job, options);
}

void RenderCommand::Check() {
    if (options.Output().empty()) {
        throw UsageError("render needs -o OUTPUT; see orphia render --help");
    }
    if (job.voice.empty() && job.song.empty()) {
        throw UsageError("render needs --voice, --midi or both; see orphia render --help");
    }
    if (job.loopsVoice && (job.voice.empty() || job.song.empty())) {
        throw UsageError("--loop needs --voice and --midi, which gives the length");
    }
    CheckSlots();
    options.Check(job.Inputs());
    if (command->count("--tail") > 0) {
        CheckTail(tailSeconds);
        job.tail = tailSeconds;
    }
    job.wishes = Wishes();
}

void RenderCommand::CheckSlots() {
    job.slots.clear();
    for (const std::string& list : slotLists) {
        AppendSlots(list, job.slots);
    }
    if (job.slots.size() > host::Instrument::sampleCount) {
        throw UsageError(fmt::format("--slots: {} files, and there are {} slots", job.slots.size(),
                                     host::Instrument::sampleCount));
    }
    if (!job.slots.empty() && !job.voice.empty()) {
        throw UsageError("--voice and --slots exclude each other: the vocoder listens to one of them");
    }
}

InstrumentOptions::Wishes RenderCommand::Wishes() const {
    InstrumentOptions::Wishes wishes;
    if (!job.voice.empty()) {
        wishes.overPreset.push_back("Modulator_ExternalInput=on");
    } else if (!job.slots.empty()) {
        wishes.overPreset.push_back("Modulator_ExternalInput=off");
    }
    if (monitor == "carrier") {
        const auto& carrier = InstrumentOptions::carrierMonitor;
        wishes.overPreset.insert(wishes.overPreset.end(), carrier.begin(), carrier.end());
    } else if (!monitor.empty()) {
        wishes.overPreset.push_back("OutputSelection=modulator");
    }
    return wishes;
}

} // namespace orphia::tools
