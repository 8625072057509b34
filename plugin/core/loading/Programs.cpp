// SPDX-License-Identifier: GPL-3.0-or-later
// Programs: the list, and how one of it becomes the sound.
#include "host/common/Errors.h"
#include "plugin/core/PluginInside.h"
#include "plugin/core/parameters/Catalog.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace orphia::plugin {

namespace {

constexpr std::uint32_t programsPerBank = 128;
constexpr std::string_view defaultId = "default";

} // namespace

ProgramList::ProgramList(const std::optional<std::filesystem::path>& folder)
    : library(folder ? host::PresetLibrary(*folder) : host::PresetLibrary()) {
    const host::PresetSummary standard =
        host::SummaryOf(host::DefaultPresetText(host::EngineTree::Instrument));
    programs.push_back({std::string(defaultId), standard.name, standard.description, true, standard.tags});
    for (const host::PresetLibrary::Entry& entry : library.Entries()) {
        programs.push_back({entry.id, entry.name, entry.description, entry.IsBuiltIn(), entry.tags});
    }
    factoryCount = static_cast<std::uint32_t>(1 + host::BuiltInPresets().size());
}

host::Preset ProgramList::Read(std::uint32_t index, std::vector<std::string>& warnings) const {
    return index == 0 ? host::DefaultPreset(Catalog())
                      : host::PresetLibrary::Load(library.Entries().at(index - 1), Catalog(), warnings);
}

std::optional<std::uint32_t> ProgramList::IndexOf(std::int32_t bankAndNumber) const {
    const auto wanted = static_cast<std::uint32_t>(bankAndNumber);
    const bool isFactory = wanted < programsPerBank;
    const std::uint32_t index = isFactory ? wanted : factoryCount + (wanted - programsPerBank);
    return index < (isFactory ? factoryCount : programs.size()) ? std::optional(index) : std::nullopt;
}

/// Nothing when there is no such program.
std::optional<PluginInstrument::Inside::ReadyProgram>
PluginInstrument::Inside::ReadProgram(std::uint32_t index) {
    std::shared_ptr<const ProgramList> list;
    {
        const Lock lock = TakeControl();
        list = programs;
    }
    if (index >= list->programs.size()) {
        return std::nullopt;
    }
    std::vector<std::string> warnings;
    try {
        ReadyProgram ready{list->programs[index].id, list->Read(index, warnings)};
        std::for_each(warnings.begin(), warnings.end(), [this](const std::string& each) { Say(each); });
        return ready;
    } catch (const std::exception& error) {
        Say(error.what());
        return std::nullopt;
    }
}

/// What a program leaves alone, as it is now; one with samples of its own makes void those that are ordered.
PluginState PluginInstrument::Inside::WithProgram(ReadyProgram wanted) {
    PluginState state = incoming ? Unbuilt() : Frame();
    state.controllers.reset();
    auto samples = std::move(state.preset.samples);
    state.preset = std::move(wanted.preset);
    state.program = std::move(wanted.id);
    if (state.preset.samples) {
        ++stateLoads;
    } else {
        state.preset.samples = std::move(samples);
    }
    return state;
}

bool PluginInstrument::Inside::LoadProgram(std::uint32_t index) {
    std::optional<ReadyProgram> ready = ReadProgram(index);
    if (!ready) {
        return false;
    }
    PluginState state;
    std::optional<Ticket> ticket;
    {
        const Lock lock = TakeControl();
        state = WithProgram(std::move(*ready));
        ticket = Announce(state);
    }
    return !ticket || Finish(state, *ticket);
}

/// Those that came by a message, on the loader's thread.
void PluginInstrument::Inside::LoadWantedProgram() {
    if (stage.isOffline && loadingAudioThread.load() != std::this_thread::get_id()) {
        return;
    }
    const std::int32_t wanted = stage.wantedProgram.exchange(-1, std::memory_order_acquire);
    std::shared_ptr<const ProgramList> list;
    {
        const Lock lock = TakeControl();
        list = programs;
    }
    const auto index = wanted >= 0 ? list->IndexOf(wanted) : std::nullopt;
    if (index && LoadProgram(*index)) {
        const Lock lock = TakeControl();
        programChanged = true;
    }
}

void PluginInstrument::Inside::LoadProgramOffline() {
    loadingAudioThread = std::this_thread::get_id();
    LoadWantedProgram();
    loadingAudioThread = std::thread::id();
}

std::vector<PluginInstrument::Program> PluginInstrument::Programs() const { return *SharedPrograms(); }

PluginInstrument::SharedProgramList PluginInstrument::SharedPrograms() const {
    const Inside::Lock lock = inside->TakeControl();
    return {inside->programs, &inside->programs->programs};
}

void PluginInstrument::RefreshPrograms() {
    auto list = std::make_shared<const ProgramList>(inside->options.presetFolder);
    for (const std::string& warning : list->library.Warnings()) {
        inside->Say(warning);
    }
    const Inside::Lock lock = inside->TakeControl();
    inside->programs = std::move(list);
}

std::optional<std::uint32_t> PluginInstrument::CurrentProgram() {
    const Inside::Lock lock = inside->TakeControl();
    const auto& list = inside->programs->programs;
    const std::string& id = inside->incoming ? inside->incoming->program : inside->program;
    const auto found =
        std::find_if(list.begin(), list.end(), [&id](const Program& each) { return each.id == id; });
    return found == list.end() ? std::nullopt
                               : std::optional(static_cast<std::uint32_t>(found - list.begin()));
}

bool PluginInstrument::LoadProgram(std::uint32_t index) { return inside->LoadProgram(index); }

bool PluginInstrument::TakeProgramChange() {
    const Inside::Lock lock = inside->TakeControl();
    return inside->programChanged.exchange(false);
}

bool PluginInstrument::SaveProgram(const std::string& id, const std::string& name) {
    const std::filesystem::path folder =
        inside->options.presetFolder ? *inside->options.presetFolder : host::PresetLibrary::UserFolder();
    const std::filesystem::path file(id);
    if (folder.empty() || id.empty() || file.filename() != file || id.front() == '.') {
        inside->Say(fmt::format("'{}' is no name for a preset", host::Excerpt(id)));
        return false;
    }
    try {
        std::filesystem::create_directories(folder);
        {
            const Inside::Lock lock = inside->TakeControl();
            host::Preset preset = inside->CurrentState().preset;
            preset.name = name;
            host::WritePreset(folder / (id + ".json"), preset, Catalog());
            inside->program = id;
            if (inside->incoming) {
                inside->incoming->program = id;
            }
        }
        RefreshPrograms();
        return true;
    } catch (const std::exception& error) {
        inside->Say(error.what());
        return false;
    }
}

} // namespace orphia::plugin
