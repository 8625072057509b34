// SPDX-License-Identifier: GPL-3.0-or-later
#include "SampleCommand.h"

#include "RenderOutput.h"
#include "RunDisplay.h"
#include "Stopped.h"
#include "Terminal.h"
#include "host/Errors.h"
#include "host/ModulatorSession.h"
#include "host/SampleReport.h"

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
using host::ModulatorSession;
using host::SampleReport;
using host::UsageError;

constexpr double mostHeldSeconds = 3600.0;
/// What equaliser and compressor may take to fall silent when the sample is over.
constexpr double longestTail = 10.0;
constexpr std::uint32_t blocksPerDisplay = 100;

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
    return fmt::format("accepted: {}, peak {} dBFS, {}", form, Decibels(report.peak), pitch);
}

} // namespace

SampleCommand::SampleCommand(CLI::App& app)
    : command(app.add_subcommand("sample", "Tell what the sampler makes of sound files, or render one")),
      slot(*command), options(*command, host::EngineTree::Modulator, "that of the file") {
    command->add_option("FILE", paths, "sound files; with -o a single one")->type_name("");
    command
        ->add_option("--seconds", heldSeconds,
                     "hold the key so long; else until the sample ends, a loop for twice its length")
        ->type_name("LENGTH");
}

bool SampleCommand::IsChosen() const { return command->parsed(); }

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
        fmt::print("{}: {}\n", path.string(), ReportText(report));
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
        throw FileError(fmt::format("{}: {}", paths.front().string(), report.reason));
    }
    const auto ownRate = std::clamp(static_cast<std::uint32_t>(report.sampleRate),
                                    ModulatorSession::minimumSampleRate, ModulatorSession::maximumSampleRate);
    const std::uint32_t rate = options.SampleRate() != 0 ? options.SampleRate() : ownRate;
    ModulatorSession session(rate, options.Seed());
    options.Apply(session);
    slot.Apply(session, options.Catalog(), report.Seconds());
    const std::unique_ptr<host::PendingFile> presetFile = options.BeginPreset(session);
    session.LoadSample(0, paths.front());
    RenderOutput output(options.Output(), rate, options.Format());
    RenderNote(session, output, report.Seconds());
    output.Finish();
    if (presetFile) {
        presetFile->Commit();
    }
    fmt::print("{}: {}\n", paths.front().string(), ReportText(report));
    output.PrintSummary();
}

/// A block at a time, as it is not known where the sample ends.
void SampleCommand::RenderNote(ModulatorSession& session, RenderOutput& output, double fileSeconds) const {
    const double playedSeconds = SlotOptions::PlayedSeconds(session, options.Catalog(), fileSeconds);
    const bool isTimed = command->count("--seconds") > 0;
    const bool isLooped = SlotOptions::IsLooped(session, options.Catalog());
    const double releaseSeconds = isTimed    ? heldSeconds
                                  : isLooped ? 2.0 * playedSeconds
                                             : std::numeric_limits<double>::infinity();
    const std::uint32_t key = session.KeyOf(0);
    const std::size_t block = session.FramesPerBlock();
    session.NoteOn(key);
    if (!session.IsPlaying()) {
        Warn("with these settings the key plays nothing");
    }
    RunDisplay display(false);
    double soundedSeconds = 0.0;
    bool isDown = true;
    bool isSilent = false;
    for (std::uint32_t blocks = 1; session.IsPlaying() || !isSilent; ++blocks) {
        if (isDown && output.Seconds() >= releaseSeconds) {
            session.NoteOff(key);
            isDown = false;
        }
        isSilent = IsSilent(
            output.Render(block, [&session](std::span<float> samples) { session.Process(samples); }));
        soundedSeconds = session.IsPlaying() ? output.Seconds() : soundedSeconds;
        if (output.Seconds() > soundedSeconds + longestTail) {
            Warn(fmt::format("the sound was cut {} s after the sample's end", longestTail));
            return;
        }
        if (blocks % blocksPerDisplay == 0) {
            display.Show(output.Seconds(), std::min(releaseSeconds, playedSeconds), {});
        }
    }
}

} // namespace orphia::tools
