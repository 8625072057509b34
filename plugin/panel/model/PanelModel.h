// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"
#include "plugin/panel/model/History.h"
#include "plugin/panel/model/Meters.h"
#include "plugin/panel/model/Modulation.h"
#include "plugin/panel/model/PanelSettings.h"
#include "plugin/panel/model/PatchBay.h"
#include "plugin/panel/model/Presets.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace orphia::panel {

/// What all parts of an open panel share: the instrument, what can be undone, and what the picture of this
/// moment shows. Everything is for the message thread. While it lives the instrument is watched.
class PanelModel {
public:
    /// An empty file keeps no settings.
    explicit PanelModel(plugin::PluginInstrument& instrument,
                        std::filesystem::path settingsFile = PanelSettings::DefaultFile(),
                        History::Clock clock = {});
    ~PanelModel();
    PanelModel(const PanelModel&) = delete;
    PanelModel& operator=(const PanelModel&) = delete;

    /// Once for each picture, so many seconds after the last one: asks the instrument what it plays.
    void Tick(double seconds);
    void KeepSettings() const;
    /// Which presets there are and which one plays. Tick does it some times a second.
    void LookAtPrograms();
    /// Can be undone; nothing counts as changed afterwards.
    bool LoadProgram(std::uint32_t wanted);
    /// The last thing that was done; while samples are read, that is these.
    void Undo();
    /// What was ordered of the instrument and is there becomes a step of the history, and is told. Tick does
    /// it.
    void FollowSamples();
    /// Shows a line for some seconds.
    void Tell(std::string line);

    plugin::PluginInstrument& instrument;
    History history;
    PatchBay patchBay;
    Modulation modulation;
    BandPicture bands;
    Meter voice;
    Meter left;
    Meter right;
    /// Of the last Tick.
    host::MeterReading lights;
    plugin::PluginInstrument::Keys keys;
    /// Smoothed, 0 to 1.
    float processorShare = 0.0F;
    /// 0 before the first sound.
    double sampleRate = 0.0;
    PanelSettings settings;
    Presets presets;
    plugin::PluginInstrument::SharedProgramList programs;
    std::optional<std::uint32_t> program;
    /// Of the twelve, from 0: the one that a page shows large, and where dropped files go first.
    std::uint32_t chosenSample = 0;
    /// Of Tell.
    std::string notice;

private:
    double noticeSeconds = 0.0;
    int untilPrograms = 0;
    std::uint64_t lookedAt = 0;
    std::filesystem::path settingsFile;
};

} // namespace orphia::panel
