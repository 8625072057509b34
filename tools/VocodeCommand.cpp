// SPDX-License-Identifier: GPL-3.0-or-later
#include "VocodeCommand.h"

#include "ParameterList.h"
#include "RunDisplay.h"
#include "VocodeRender.h"
#include "host/AudioFileSource.h"
#include "host/Errors.h"
#include "host/ParameterText.h"
#include "host/Preset.h"
#include "host/ResampledSource.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace orphia::tools {

namespace {

using host::UsageError;
using host::VocoderSession;

constexpr double maxTailSeconds = 600.0;
/// Files of a lower rate are brought to this one, so that the treble path has its place.
constexpr std::uint32_t lowestOwnRate = 44100;

bool SameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
    std::error_code error;
    return std::filesystem::equivalent(a, b, error) ||
           std::filesystem::weakly_canonical(a, error) == std::filesystem::weakly_canonical(b, error);
}

void Warn(std::string_view message) { fmt::print(stderr, "orphia: warning: {}\n", message); }

void WarnOfReplaced(const std::filesystem::path& path, const host::AudioFileSource& source) {
    if (source.ReplacedSamples() > 0) {
        Warn(fmt::format("{}: {} samples were not finite numbers and read as silence", path.string(),
                         source.ReplacedSamples()));
    }
}

std::string Decibels(double magnitude) {
    return magnitude > 0.0 ? fmt::format("{:.1f}", 20.0 * std::log10(magnitude)) : "-inf";
}

} // namespace

VocodeCommand::VocodeCommand(CLI::App& app)
    : command(app.add_subcommand("vocode", "Vocode a sound file with another one")) {
    command->add_option("MODULATOR", modulatorPath, "what speaks; gives the length")->type_name("");
    command->add_option("CARRIER", carrierPath, "what sounds; a shorter one ends in silence")->type_name("");
    command->add_option("-o,--output", outputPath, "the result: .wav, .flac or .ogg; replaced if it exists")
        ->type_name("FILE");
    command->add_option("--set", assignments, "set a parameter, over all presets; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    command->add_option("--preset", presetPath, "settings from a file, over the built-in ones")
        ->type_name("FILE");
    command->add_option("--save-preset", savePresetPath, "write the settings of this run to a file")
        ->type_name("FILE");
    command->add_flag("--loop-carrier", loopsCarrier, "begin the carrier anew when it ends");
    command->add_option("--tail", tailSeconds, "go on after the modulator's end")->type_name("SECONDS");
    command
        ->add_option("--rate", sampleRate, "sample rate; else the higher one of both files, at least 44100")
        ->type_name("HZ");
    command->add_option("--bits", bits, "16, 24 (as by default) or float")
        ->type_name("BITS")
        ->transform(CLI::IsMember({"16", "24", "float"}));
    command->add_option("--seed", seed, "start of the noise (1); the same seed gives the same file")
        ->type_name("N");
    command->add_flag("--meters", showsMeters, "show band meters and lights");
    auto* list = command->add_flag("--list-parameters", listsParameters, "list the controls, and end");
    command->add_flag("--all", listsAll, "list routes, circuit constants and outputs too")->needs(list);
}

bool VocodeCommand::IsChosen() const { return command->parsed(); }

void VocodeCommand::Run() {
    if (listsParameters) {
        PrintParameterList(catalog, listsAll);
        return;
    }
    CheckFiles();
    Render(ParseAssignments());
}

void VocodeCommand::CheckFiles() const {
    if (modulatorPath.empty() || carrierPath.empty() || outputPath.empty()) {
        throw UsageError("vocode needs a MODULATOR, a CARRIER and -o OUTPUT; see orphia vocode --help");
    }
    host::AudioFileWriter::CheckFormat(outputPath, Format());
    for (const auto& input : {modulatorPath, carrierPath, presetPath}) {
        if (!input.empty() && SameFile(input, outputPath)) {
            throw UsageError(fmt::format("{} is both input and output", outputPath.string()));
        }
    }
    for (const auto& other : {modulatorPath, carrierPath, outputPath}) {
        if (!savePresetPath.empty() && SameFile(other, savePresetPath)) {
            throw UsageError(fmt::format("the preset would replace {}", other.string()));
        }
    }
    if (!(tailSeconds >= 0.0 && tailSeconds <= maxTailSeconds)) {
        throw UsageError(fmt::format("--tail: {} is outside 0 .. {} s", tailSeconds, maxTailSeconds));
    }
    if (command->count("--rate") > 0 &&
        (sampleRate < VocoderSession::minimumSampleRate || sampleRate > VocoderSession::maximumSampleRate)) {
        throw UsageError(fmt::format("--rate: {} is outside {} .. {} Hz", sampleRate,
                                     VocoderSession::minimumSampleRate, VocoderSession::maximumSampleRate));
    }
}

std::optional<host::SampleFormat> VocodeCommand::Format() const {
    if (bits.empty()) {
        return std::nullopt;
    }
    if (bits == "float") {
        return host::SampleFormat::Float32;
    }
    return bits == "16" ? host::SampleFormat::Int16 : host::SampleFormat::Int24;
}

std::vector<host::ParameterSetting> VocodeCommand::ParseAssignments() const {
    std::vector<host::ParameterSetting> settings;
    for (const std::string& assignment : assignments) {
        settings.push_back(host::ParseAssignment(catalog, assignment));
    }
    return settings;
}

void VocodeCommand::ApplySettings(VocoderSession& session,
                                  const std::vector<host::ParameterSetting>& own) const {
    session.Apply(host::DefaultPreset(catalog));
    if (!presetPath.empty()) {
        std::vector<std::string> warnings;
        session.Apply(host::ReadPreset(presetPath, catalog, warnings));
        std::for_each(warnings.begin(), warnings.end(), Warn);
    }
    session.Apply({{}, own});
}

void VocodeCommand::Render(const std::vector<host::ParameterSetting>& own) {
    using host::AudioFileSource;
    auto modulatorFile = std::make_unique<AudioFileSource>(modulatorPath);
    auto carrierFile = std::make_unique<AudioFileSource>(
        carrierPath, loopsCarrier ? AudioFileSource::Playback::Loop : AudioFileSource::Playback::Once);
    const AudioFileSource& modulatorReader = *modulatorFile;
    const AudioFileSource& carrierReader = *carrierFile;
    const std::uint32_t ownRate = std::clamp(std::max(modulatorFile->SampleRate(), carrierFile->SampleRate()),
                                             lowestOwnRate, VocoderSession::maximumSampleRate);
    const std::uint32_t rate = sampleRate != 0 ? sampleRate : ownRate;
    const auto modulator = host::AtRate(std::move(modulatorFile), rate);
    const auto carrier = host::AtRate(std::move(carrierFile), rate);

    VocoderSession session(rate, seed);
    ApplySettings(session, own);
    std::optional<host::PendingFile> presetFile;
    if (!savePresetPath.empty()) {
        presetFile.emplace(savePresetPath);
        presetFile->Write(host::FormatPreset({savePresetPath.stem().string(), session.Settings()}, catalog));
    }

    host::AudioFileWriter writer(outputPath, rate, Format());
    RunDisplay display(showsMeters);
    VocodeRender render(*modulator, *carrier, session, writer);
    const VocodeSummary summary = render.Run(tailSeconds, display);
    display.Clear();
    writer.Finish();
    if (presetFile) {
        presetFile->Commit();
    }
    WarnOfReplaced(modulatorPath, modulatorReader);
    WarnOfReplaced(carrierPath, carrierReader);
    if (writer.ClippedSamples() > 0) {
        Warn(fmt::format("{} samples beyond full scale were clipped; lower a level, or use --bits float",
                         writer.ClippedSamples()));
    }
    PrintSummary(summary);
}

void VocodeCommand::PrintSummary(const VocodeSummary& summary) const {
    fmt::print("output    {}\n", outputPath.string());
    fmt::print("duration  {:.3f} s\n", summary.seconds);
    fmt::print("peak      {} dBFS\n", Decibels(summary.peak));
    fmt::print("loudness  {}\n", summary.loudness ? fmt::format("{:.1f} LUFS", *summary.loudness)
                                                  : "none (silent, or shorter than 0.4 s)");
    fmt::print("speed     {:.0f} x real time\n", summary.speed);
}

} // namespace orphia::tools
