// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/options/InstrumentOptions.h"

#include "host/engine/EngineLibrary.h"
#include "host/instrument/Instrument.h"
#include "host/parameters/ParameterText.h"
#include "tools/options/PathOption.h"
#include "tools/terminal/Terminal.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <utility>

namespace orphia::tools {

void AddEngineOption(CLI::App& command, std::filesystem::path& path) {
    AddPath(command, "--engine", path, "the engine's library; else the one that came with this command")
        ->type_name("FILE");
}

const std::vector<const char*> InstrumentOptions::carrierMonitor = {
    "CarrierLevel=-24 dB", "MasterVolume=-17 dB", "OutputSelection=carrier"};

InstrumentOptions::InstrumentOptions(CLI::App& app, const std::string& rateDefault)
    : RenderOptions(app, host::EngineTree::Instrument, rateDefault) {
    AddEngineOption(app, enginePath);
    app.add_flag("--smooth-drive", drivesSmoothly,
                 "drive saw and triangle (Osc1Shape, Osc2Shape) without aliases");
}

std::unique_ptr<host::Instrument> InstrumentOptions::MakeInstrument(std::uint32_t rate,
                                                                    const Wishes& wishes) const {
    const auto parse = [this](const char* wish) { return host::ParseAssignment(Catalog(), wish); };
    const host::Preset chosen = ReadPreset();
    host::Preset preset;
    std::transform(wishes.underPreset.begin(), wishes.underPreset.end(), std::back_inserter(preset.settings),
                   parse);
    preset.settings.insert(preset.settings.end(), chosen.settings.begin(), chosen.settings.end());
    preset.samples = chosen.samples;

    auto instrument = std::make_unique<host::Instrument>(host::EngineLibrary::Load(enginePath), rate, Seed());
    instrument->SetOffline(true);
    instrument->SetLimiter(UsesLimiter());
    instrument->SetSmoothDrive(drivesSmoothly);
    const std::vector<std::string> problems = instrument->LoadPreset(preset);
    std::for_each(problems.begin(), problems.end(), Warn);
    for (const char* wish : wishes.overPreset) {
        instrument->Set(parse(wish));
    }
    for (const host::ParameterSetting& setting : OwnSettings()) {
        instrument->Set(setting);
    }
    return instrument;
}

std::unique_ptr<host::PendingFile>
InstrumentOptions::BeginPresetOf(const host::Instrument& instrument) const {
    return SavesPreset() ? BeginPreset(instrument.CapturePreset()) : nullptr;
}

} // namespace orphia::tools
