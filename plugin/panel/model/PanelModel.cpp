// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/PanelModel.h"

#include "host/common/Paths.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace orphia::panel {

namespace {

/// Presets change seldom, and the instrument is locked to ask.
constexpr int picturesBetween = 6;
constexpr double secondsOfNotice = 6.0;

/// "Sample 3 is voice.wav", and what is to be told besides.
std::string LineOf(const plugin::PluginInstrument::SamplesDone& done) {
    const auto& paths = done.order.paths;
    const std::string& more = done.problem.empty() ? done.order.remark : done.problem;
    if (paths.empty()) {
        return more;
    }
    const std::uint32_t first = paths.begin()->first + 1;
    const std::uint32_t last = paths.rbegin()->first + 1;
    std::string line;
    if (paths.size() == 1) {
        const std::string name = host::TextOf(paths.begin()->second.filename());
        line = fmt::format("Sample {} is {}", first, name.empty() ? "empty" : name);
    } else if (last - first + 1 == paths.size()) {
        line = fmt::format("Samples {} to {} are loaded", first, last);
    } else {
        line = fmt::format("{} samples from {} to {} are loaded", paths.size(), first, last);
    }
    return more.empty() ? line : line + "; " + more;
}

} // namespace

PanelModel::PanelModel(plugin::PluginInstrument& ofInstrument, std::filesystem::path file,
                       History::Clock clock)
    : instrument(ofInstrument), history(ofInstrument, std::move(clock)), patchBay(ofInstrument, history),
      modulation(ofInstrument), settings(PanelSettings::Read(file)), presets(ofInstrument, history, settings),
      settingsFile(std::move(file)) {
    instrument.SetWatched(true);
    history.followOthers = [this] { FollowSamples(); };
    while (instrument.TakeSamplesDone()) { // of a panel before
    }
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
        history.ChangeAll("Preset", [this, wanted] { return instrument.BeginProgram(wanted); });
    if (isLoaded) {
        history.MarkSaved();
    }
    LookAtPrograms();
    return isLoaded;
}

void PanelModel::Undo() {
    if (instrument.CancelSamples()) {
        Tell("Samples that were being read are left");
        return;
    }
    history.Undo();
}

void PanelModel::FollowSamples() {
    while (auto done = instrument.TakeSamplesDone()) {
        Tell(LineOf(*done));
        if (!done->order.paths.empty()) {
            history.AddChange(std::move(done->order.name), std::move(done->before), std::move(done->after));
        }
    }
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
    FollowSamples();
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
