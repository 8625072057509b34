// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/options/RenderOptions.h"

#include "host/common/Errors.h"
#include "host/common/Paths.h"
#include "host/instrument/Instrument.h"
#include "host/parameters/ParameterText.h"
#include "host/presets/PresetLibrary.h"
#include "tools/options/ParameterList.h"
#include "tools/options/PathOption.h"
#include "tools/terminal/Terminal.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace orphia::tools {

namespace {

using host::UsageError;

bool SameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
    std::error_code error;
    return std::filesystem::equivalent(a, b, error) ||
           std::filesystem::weakly_canonical(a, error) == std::filesystem::weakly_canonical(b, error);
}

} // namespace

host::Preset OpenPreset(const std::string& pathOrName, std::vector<std::string>& warnings) {
    return host::PresetLibrary().Open(pathOrName, host::ParameterCatalog::OfInstrument(), warnings);
}

RenderOptions::RenderOptions(CLI::App& app, host::EngineTree engineTree, const std::string& rateDefault)
    : command(app), tree(engineTree) {
    const bool playsInstrument = tree == host::EngineTree::Instrument;
    AddPath(app, "-o,--output", outputPath, "the result: .wav, .flac or .ogg; replaced if it exists")
        ->type_name("FILE");
    app.add_option("--set", assignments, "set a parameter, over all presets; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option("--preset", presetName,
                   playsInstrument ? "a preset by its name (orphia presets lists them), or a file"
                                   : "settings from a file, over the built-in ones")
        ->type_name(playsInstrument ? "NAME" : "FILE");
    AddPath(app, "--save-preset", savePresetPath, "write the settings of this run to a file")
        ->type_name("FILE");
    app.add_option("--rate", sampleRate, "sample rate; else " + rateDefault)->type_name("HZ");
    app.add_option("--bits,--format", bits, "of the samples: 16, 24 (as by default) or float")
        ->type_name("FORMAT")
        ->transform(CLI::IsMember({"16", "24", "float"}));
    app.add_option("--seed", seed, "start of the noise (1); the same seed gives the same file")
        ->type_name("N");
    app.add_flag("--no-limiter", noLimiter,
                 "let peaks above -1 dBFS through, which a limiter holds otherwise");
    auto* list = app.add_flag("--list-parameters", listsParameters, "list the controls, and end");
    app.add_flag("--all", listsAll, "list routes, circuit constants and outputs too")->needs(list);
}

const host::ParameterCatalog& RenderOptions::Catalog() const {
    return tree == host::EngineTree::Instrument ? host::ParameterCatalog::OfInstrument()
                                                : host::ParameterCatalog::OfVocoder();
}

bool RenderOptions::PrintListIfAsked() const {
    if (listsParameters) {
        PrintParameterList(Catalog(), listsAll);
    }
    return listsParameters;
}

void CheckTail(double seconds) {
    constexpr double longest = 600.0;
    if (!(seconds >= 0.0 && seconds <= longest)) {
        throw UsageError(fmt::format("--tail: {} is outside 0 .. {} s", seconds, longest));
    }
}

void CheckRate(std::uint32_t rate) {
    using host::Instrument;
    if (rate < Instrument::minimumSampleRate || rate > Instrument::maximumSampleRate) {
        throw UsageError(fmt::format("--rate: {} is outside {} .. {} Hz", rate, Instrument::minimumSampleRate,
                                     Instrument::maximumSampleRate));
    }
}

void RenderOptions::Check(std::span<const std::filesystem::path> inputs) {
    host::AudioFileWriter::CheckFormat(outputPath, Format());
    CheckFiles(inputs);
    if (command.count("--rate") > 0) {
        CheckRate(sampleRate);
    }
    ownSettings.clear();
    for (const std::string& assignment : assignments) {
        ownSettings.push_back(host::ParseAssignment(Catalog(), assignment));
    }
}

void RenderOptions::CheckFiles(std::span<const std::filesystem::path> inputs) const {
    std::vector<std::filesystem::path> read(inputs.begin(), inputs.end());
    if (!presetName.empty()) {
        read.emplace_back(presetName);
    }
    for (const auto& input : read) {
        if (SameFile(input, outputPath)) {
            throw UsageError(fmt::format("{} is both input and output", host::TextOf(outputPath)));
        }
    }
    // A preset may be saved over the one that it comes from.
    std::vector<std::filesystem::path> kept(inputs.begin(), inputs.end());
    kept.push_back(outputPath);
    for (const auto& other : kept) {
        if (SavesPreset() && SameFile(other, savePresetPath)) {
            throw UsageError(fmt::format("the preset would replace {}", host::TextOf(other)));
        }
    }
}

host::Preset RenderOptions::ReadPreset() const {
    std::vector<std::string> warnings;
    host::Preset preset;
    if (!presetName.empty()) {
        preset = tree == host::EngineTree::Instrument ? OpenPreset(presetName, warnings)
                                                      : host::ReadPreset(presetName, Catalog(), warnings);
    }
    std::for_each(warnings.begin(), warnings.end(), Warn);
    return preset;
}

std::unique_ptr<host::PendingFile> RenderOptions::BeginPreset(host::Preset preset) const {
    preset.name = host::TextOf(savePresetPath.stem());
    auto file = std::make_unique<host::PendingFile>(savePresetPath);
    file->Write(
        host::FormatPreset(preset, Catalog(), std::filesystem::absolute(savePresetPath).parent_path()));
    return file;
}

std::optional<host::SampleFormat> RenderOptions::Format() const {
    if (bits.empty()) {
        return std::nullopt;
    }
    if (bits == "float") {
        return host::SampleFormat::Float32;
    }
    return bits == "16" ? host::SampleFormat::Int16 : host::SampleFormat::Int24;
}

} // namespace orphia::tools
