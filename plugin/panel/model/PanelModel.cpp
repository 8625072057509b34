// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/PanelModel.h"

#include <algorithm>
#include <utility>

namespace orphia::panel {

namespace {

/// Presets change seldom, and the instrument is locked to ask.
constexpr int picturesBetween = 6;
constexpr double secondsOfNotice = 6.0;

} // namespace

PanelModel::PanelModel(plugin::PluginInstrument& ofInstrument, std::filesystem::path file,
                       History::Clock clock)
    : instrument(ofInstrument), history(ofInstrument, std::move(clock)), patchBay(ofInstrument, history),
      modulation(ofInstrument), settings(PanelSettings::Read(file)), presets(ofInstrument, history, settings),
      settingsFile(std::move(file)) {
    instrument.SetWatched(true);
    LookAtPrograms();
}

PanelModel::~PanelModel() { instrument.SetWatched(false); }

void PanelModel::KeepSettings() const {
    if (!settingsFile.empty()) {
        settings.Write(settingsFile);
    }
}

void PanelModel::LookAtPrograms() {
    programs = instrument.SharedPrograms();
    program = instrument.CurrentProgram();
    untilPrograms = picturesBetween;
}

bool PanelModel::LoadProgram(std::uint32_t wanted) {
    const bool isLoaded =
        history.ChangeAll("Preset", [this, wanted] { return instrument.LoadProgram(wanted); });
    if (isLoaded) {
        history.MarkSaved();
    }
    LookAtPrograms();
    return isLoaded;
}

void PanelModel::Tell(std::string line) {
    notice = std::move(line);
    noticeSeconds = secondsOfNotice;
}

void PanelModel::Tick(double seconds) {
    noticeSeconds -= seconds;
    if (noticeSeconds <= 0.0) {
        notice.clear();
    }
    const plugin::PluginInstrument::Levels levels = instrument.TakeLevels();
    lights = instrument.TakeMeters();
    keys = instrument.HeldKeys();
    voice.Update(levels.voice, seconds);
    left.Update(levels.output[0], seconds);
    right.Update(levels.output[1], seconds);
    processorShare += 0.1F * (std::min(levels.processor, 1.0F) - processorShare);
    sampleRate = levels.sampleRate;
    bands.Update(instrument, lights.bands, seconds);
    if (std::exchange(lookedAt, history.Changes()) != history.Changes()) {
        modulation.Look();
    }
    modulation.Update(levels.voice);
    if (--untilPrograms <= 0) {
        LookAtPrograms();
    }
}

} // namespace orphia::panel
