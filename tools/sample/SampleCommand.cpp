// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/sample/SampleCommand.h"

#include "host/common/Errors.h"
#include "host/common/Paths.h"
#include "host/instrument/Instrument.h"
#include "host/parts/SampleReport.h"
#include "tools/options/PathOption.h"
#include "tools/run/Performance.h"
#include "tools/run/RenderOutput.h"
#include "tools/run/RunDisplay.h"
#include "tools/sample/KeyPerformance.h"
#include "tools/terminal/Terminal.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

namespace orphia::tools {

namespace {

using host::FileError;
using host::SampleReport;
using host::UsageError;

constexpr double mostHeldSeconds = 3600.0;

/// The nearest note and how far from it, for instance "A4 -3 cents".
std::string NoteOf(double hertz) {
    constexpr std::array names{"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};
    const double pitch = 69.0 + 12.0 * std::log2(hertz / 440.0);
    const long note = std::lround(pitch);
    const long inOctave = ((note % 12) + 12) % 12;
    return fmt::format("{}{} {:+d} cents", names[static_cast<std::size_t>(inOctave)],
                       (note - inOctave) / 12 - 1, std::lround((pitch - static_cast<double>(note)) * 100.0));
}

std::string ChannelText(int count) {
    return count == 1 ? "mono" : count == 2 ? "stereo" : fmt::format("{} channels", count);
}

/// What is known of the file's form; empty when that is nothing.
std::string FormText(const SampleReport& report) {
    if (report.channelCount == 0 || report.sampleRate == 0) {
        return "";
    }
    return fmt::format("{}, {} Hz, {:.3f} s ({} frames)", ChannelText(report.channelCount), report.sampleRate,
                       report.Seconds(), report.frames);
}

std::string ReportText(const SampleReport& report) {
    const std::string form = FormText(report);
    if (!report.isAccepted) {
        return fmt::format("refused: {}{}", report.reason, form.empty() ? "" : "; " + form);
    }
    const std::string pitch =
        report.pitch ? fmt::format("pitch {:.1f} Hz ({})", *report.pitch, NoteOf(*report.pitch)) : "no pitch";
    const std::string replaced =
        report.replacedSamples > 0
            ? fmt::format(", {} samples are no numbers and play as silence", report.replacedSamples)
            : "";
    return fmt::format("accepted: {}, peak {} dBFS, {}{}", form, Decibels(report.peak), pitch, replaced);
}

} // namespace

SampleCommand::SampleCommand(CLI::App& app)
    : Command(app, "sample", "Tell what the sampler makes of sound files, or render one"), slot(*command),
      options(*command, "that of the file") {
    AddPaths(*command, "FILE", paths, "sound files; with -o a single one")->type_name("");
    command
        ->add_option("--seconds", heldSeconds,
                     "hold the key so long; else until the sample ends, a loop for twice its length")
        ->type_name("LENGTH");
    command->footer("Without -o it tells of each file, in a line: accepted or refused, and why.\n\n"
                    "Examples:\n"
                    "  orphia sample voice.wav song.flac\n"
                    "  orphia sample voice.wav -o long.wav --stretch 2\n"
                    "  orphia sample voice.wav -o loop.wav --loop=back --loop-range 0.4:1.1 --crossfade 50ms "
                    "--seconds 10\n\n"
                    "Exit status:\n"
                    "  0  done; without -o all files were accepted\n"
                    "  1  some file was refused, or could not be read or written\n"
                    "  2  the command line was wrong");
}

void SampleCommand::Run() {
    if (options.PrintListIfAsked()) {
        return;
    }
    Check();
    if (options.Output().empty()) {
        Report();
    } else {
        Render();
    }
}

void SampleCommand::Check() {
    if (paths.empty()) {
        throw UsageError("sample needs a FILE; see orphia sample --help");
    }
    if (options.Output().empty()) {
        CheckNothingIsRendered();
        return;
    }
    if (paths.size() > 1) {
        throw UsageError("sample renders one FILE at a time with -o OUTPUT");
    }
    options.Check(paths);
    if (command->count("--seconds") > 0 && !(heldSeconds > 0.0 && heldSeconds <= mostHeldSeconds)) {
        throw UsageError(fmt::format("--seconds: {} is outside 0 .. {} s", heldSeconds, mostHeldSeconds));
    }
}

/// All options but the list of files say something of a result.
void SampleCommand::CheckNothingIsRendered() const {
    for (const CLI::Option* option : command->get_options()) {
        if (option->count() > 0 && option->get_name() != "FILE") {
            throw UsageError(fmt::format("{} needs -o OUTPUT", option->get_name()));
        }
    }
}

void SampleCommand::Report() const {
    std::size_t refused = 0;
    for (const auto& path : paths) {
        const SampleReport report = host::InspectSample(path);
        fmt::print("{}: {}\n", LineOf(host::TextOf(path)), ReportText(report));
        refused += report.isAccepted ? 0 : 1;
        if (StopSignal() != 0) {
            throw Stopped();
        }
    }
    if (refused > 0) {
        throw FileError(fmt::format("{} of {} files refused", refused, paths.size()));
    }
}

void SampleCommand::Render() const {
    const SampleReport report = host::InspectSample(paths.front());
    if (!report.isAccepted) {
        throw FileError(fmt::format("{}: {}", host::TextOf(paths.front()), report.reason));
    }
    const auto ownRate = std::clamp(static_cast<std::uint32_t>(report.sampleRate),
                                    host::Instrument::minimumSampleRate, host::Instrument::maximumSampleRate);
    const std::uint32_t rate = options.SampleRate() != 0 ? options.SampleRate() : ownRate;
    // The preamp at the level where the monitor is as loud as the sample itself, and a short envelope.
    const auto instrument = options.MakeInstrument(
        rate, {{"Attack=2 ms", "Release=50 ms"},
               {"ProgramLevel=-6.02 dB", "OutputSelection=modulator", "Modulator_ExternalInput=off"}});
    slot.Apply(*instrument, report.Seconds());
    instrument->LoadSample(0, paths.front());
    const std::unique_ptr<host::PendingFile> presetFile = options.BeginPresetOf(*instrument);
    RenderOutput output(
        options.Output(), rate, instrument->FramesPerBlock(), [&] { return instrument->LatencyFrames(); },
        options.Format());
    const double playedSeconds = SlotOptions::PlayedSeconds(*instrument, report.Seconds());
    KeyPerformance performance(*instrument, instrument->KeyOf(0), HeldSeconds(*instrument, playedSeconds),
                               playedSeconds);
    RunDisplay display(false);
    RenderWhole(performance, output, std::nullopt, display);
    output.Finish();
    if (presetFile) {
        presetFile->Commit();
    }
    fmt::print("{}: {}\n", host::TextOf(paths.front()), ReportText(report));
    output.PrintSummary();
}

/// How long the key is down.
double SampleCommand::HeldSeconds(const host::Instrument& instrument, double playedSeconds) const {
    if (command->count("--seconds") > 0) {
        return heldSeconds;
    }
    return SlotOptions::IsLooped(instrument) ? 2.0 * playedSeconds : std::numeric_limits<double>::infinity();
}

} // namespace orphia::tools
