// SPDX-License-Identifier: GPL-3.0-or-later
#include "VocodeCommand.h"

#include "RenderOutput.h"
#include "RunDisplay.h"
#include "Terminal.h"
#include "VocodeRender.h"
#include "host/AudioFileSource.h"
#include "host/Errors.h"
#include "host/ResampledSource.h"
#include "host/VocoderSession.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <utility>

namespace orphia::tools {

namespace {

using host::UsageError;
using host::VocoderSession;

/// Files of a lower rate are brought to this one, so that the treble path has its place.
constexpr std::uint32_t lowestOwnRate = 44100;

void WarnOfReplaced(const std::filesystem::path& path, const host::AudioFileSource& source) {
    if (source.ReplacedSamples() > 0) {
        Warn(fmt::format("{}: {} samples were not finite numbers and read as silence", path.string(),
                         source.ReplacedSamples()));
    }
}

} // namespace

VocodeCommand::VocodeCommand(CLI::App& app)
    : command(app.add_subcommand("vocode", "Vocode a sound file with another one")),
      options(*command, host::EngineTree::Vocoder, "the higher one of both files, at least 44100") {
    command->add_option("MODULATOR", modulatorPath, "what speaks; gives the length")->type_name("");
    command->add_option("CARRIER", carrierPath, "what sounds; a shorter one ends in silence")->type_name("");
    command->add_flag("--loop-carrier", loopsCarrier, "begin the carrier anew when it ends");
    command->add_option("--tail", tailSeconds, "go on after the modulator's end")->type_name("SECONDS");
    command->add_flag("--meters", showsMeters, "show band meters and lights");
}

bool VocodeCommand::IsChosen() const { return command->parsed(); }

void VocodeCommand::Run() {
    if (options.PrintListIfAsked()) {
        return;
    }
    Check();
    Render();
}

void VocodeCommand::Check() {
    if (modulatorPath.empty() || carrierPath.empty() || options.Output().empty()) {
        throw UsageError("vocode needs a MODULATOR, a CARRIER and -o OUTPUT; see orphia vocode --help");
    }
    options.Check(std::array{modulatorPath, carrierPath});
    CheckTail(tailSeconds);
}

void VocodeCommand::Render() const {
    using host::AudioFileSource;
    auto modulatorFile = std::make_unique<AudioFileSource>(modulatorPath);
    auto carrierFile = std::make_unique<AudioFileSource>(
        carrierPath, loopsCarrier ? AudioFileSource::Playback::Loop : AudioFileSource::Playback::Once);
    const AudioFileSource& modulatorReader = *modulatorFile;
    const AudioFileSource& carrierReader = *carrierFile;
    const std::uint32_t ownRate = std::clamp(std::max(modulatorFile->SampleRate(), carrierFile->SampleRate()),
                                             lowestOwnRate, VocoderSession::maximumSampleRate);
    const std::uint32_t rate = options.SampleRate() != 0 ? options.SampleRate() : ownRate;
    const auto modulator = host::AtRate(std::move(modulatorFile), rate);
    const auto carrier = host::AtRate(std::move(carrierFile), rate);

    VocoderSession session(rate, options.Seed());
    options.Apply(session);
    const std::unique_ptr<host::PendingFile> presetFile = options.BeginPreset(session);
    RenderOutput output(options.Output(), rate, options.Format());
    RunDisplay display(showsMeters);
    VocodeRender(*modulator, *carrier, session, output).Run(tailSeconds, display);
    display.Clear();
    output.Finish();
    if (presetFile) {
        presetFile->Commit();
    }
    WarnOfReplaced(modulatorPath, modulatorReader);
    WarnOfReplaced(carrierPath, carrierReader);
    output.PrintSummary();
}

} // namespace orphia::tools
