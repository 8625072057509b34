// SPDX-License-Identifier: GPL-3.0-or-later
#include "PlayCommand.h"

#include "RenderOutput.h"
#include "RunDisplay.h"
#include "Terminal.h"
#include "host/CarrierSession.h"
#include "host/Errors.h"
#include "host/MidiFile.h"
#include "host/MidiPlayer.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <span>

namespace orphia::tools {

namespace {

using host::MidiPlayer;
using host::UsageError;

/// Without --tail the sound may fade for so long.
constexpr double longestFade = 10.0;
constexpr std::uint32_t ownRate = 44100;

} // namespace

PlayCommand::PlayCommand(CLI::App& app)
    : command(app.add_subcommand("play", "Render a MIDI file through the carrier")),
      options(*command, host::EngineTree::Carrier, fmt::format("{}", ownRate)) {
    command->add_option("MIDIFILE", songPath, "the song: a standard MIDI file of format 0 or 1")
        ->type_name("");
    command
        ->add_option("--tail", tailSeconds,
                     "go on after the song's end; else until it is silent, at most 10 s")
        ->type_name("SECONDS");
}

bool PlayCommand::IsChosen() const { return command->parsed(); }

void PlayCommand::Run() {
    if (options.PrintListIfAsked()) {
        return;
    }
    Check();
    Render();
}

void PlayCommand::Check() {
    if (songPath.empty() || options.Output().empty()) {
        throw UsageError("play needs a MIDIFILE and -o OUTPUT; see orphia play --help");
    }
    options.Check(std::array{songPath});
    CheckTail(tailSeconds);
}

void PlayCommand::Render() const {
    const host::MidiFile song = host::MidiFile::Read(songPath);
    const std::uint32_t rate = options.SampleRate() != 0 ? options.SampleRate() : ownRate;
    host::CarrierSession session(rate, options.Seed());
    options.Apply(session);
    const std::unique_ptr<host::PendingFile> presetFile = options.BeginPreset(session);
    MidiPlayer player(song, session, options.Catalog());
    if (player.NoteCount() == 0) {
        Warn(fmt::format("{} holds no notes", songPath.string()));
    }
    RenderOutput output(options.Output(), rate, options.Format());
    RenderSong(player, output);
    output.Finish();
    if (presetFile) {
        presetFile->Commit();
    }
    output.PrintSummary();
}

/// With --tail to the frame; else until a whole chunk behind the end is silent.
void PlayCommand::RenderSong(MidiPlayer& player, RenderOutput& output) const {
    const bool endsInTime = command->count("--tail") > 0;
    const std::uint64_t songFrames = player.SongFrames();
    const double extraSeconds = endsInTime ? tailSeconds : longestFade;
    const double rate = options.SampleRate() != 0 ? options.SampleRate() : ownRate;
    const std::uint64_t frames = songFrames + static_cast<std::uint64_t>(std::llround(extraSeconds * rate));
    RunDisplay display(false);
    for (std::uint64_t done = 0; done < frames;) {
        const std::uint64_t count = std::min<std::uint64_t>(output.ChunkFrames(), frames - done);
        const std::span<const float> samples = output.Render(
            static_cast<std::size_t>(count), [&player](std::span<float> chunk) { player.Process(chunk); });
        done += count;
        display.Show(output.Seconds(), static_cast<double>(songFrames) / rate, {});
        if (!endsInTime && done > songFrames && player.IsDone() && IsSilent(samples)) {
            return;
        }
    }
    if (!endsInTime) {
        Warn(fmt::format("the sound was cut {} s after the song's end; --tail gives it longer", longestFade));
    }
}

} // namespace orphia::tools
