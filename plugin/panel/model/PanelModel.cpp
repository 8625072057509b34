// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/PanelModel.h"

#include <algorithm>
#include <utility>

namespace orphia::panel {

PanelModel::PanelModel(plugin::PluginInstrument& ofInstrument, std::filesystem::path file,
                       History::Clock clock)
    : instrument(ofInstrument), history(ofInstrument, std::move(clock)), patchBay(ofInstrument, history),
      modulation(ofInstrument), settings(PanelSettings::Read(file)), presets(ofInstrument, history, settings),
      settingsFile(std::move(file)) {
    instrument.SetWatched(true);
}

PanelModel::~PanelModel() { instrument.SetWatched(false); }

void PanelModel::KeepSettings() const {
    if (!settingsFile.empty()) {
        settings.Write(settingsFile);
    }
}

bool PanelModel::LoadProgram(std::uint32_t program) {
    const bool isLoaded =
        history.ChangeAll("Preset", [this, program] { return instrument.LoadProgram(program); });
    if (isLoaded) {
        history.MarkSaved();
    }
    return isLoaded;
}

void PanelModel::Tick(double seconds) {
    const plugin::PluginInstrument::Levels levels = instrument.TakeLevels();
    lights = instrument.TakeMeters();
    keys = instrument.HeldKeys();
    voice.Update(levels.voice, seconds);
    left.Update(levels.output[0], seconds);
    right.Update(levels.output[1], seconds);
    processorShare += 0.1F * (std::min(levels.processor, 1.0F) - processorShare);
    sampleRate = levels.sampleRate;
    bands.Update(instrument, lights.bands, seconds);
    modulation.Update(levels.voice);
}

} // namespace orphia::panel
