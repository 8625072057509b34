// SPDX-License-Identifier: GPL-3.0-or-later
// The thread that builds sounds in order, so that nobody waits for files.
#include "plugin/core/PluginInside.h"

#include <exception>
#include <utility>

namespace orphia::plugin {

void PluginInstrument::Inside::AddJob(Job job) {
    jobs.push_back(std::move(job));
    jobCount = jobs.size();
    if (!builder.joinable()) {
        builder = std::thread([this] { BuildAll(); });
    }
    builderWakes.notify_all();
}

void PluginInstrument::Inside::StopBuilder() {
    {
        const Lock lock(control);
        builderEnds = true;
    }
    builderWakes.notify_all();
    if (builder.joinable()) {
        builder.join();
    }
}

void PluginInstrument::Inside::BuildAll() {
    Lock lock(control);
    for (;;) {
        builderWakes.wait(lock, [this] { return builderEnds || !jobs.empty(); });
        if (builderEnds) {
            return;
        }
        Job& job = jobs.front();
        if (!job.isOver) {
            lock.unlock();
            Do(job);
            lock.lock();
        }
        jobs.pop_front();
        jobCount = jobs.size();
    }
}

void PluginInstrument::Inside::Do(Job& job) {
    try {
        if (!job.ticket) {
            LoadOrdered(job);
        } else if (job.ticket->generation == exchange.Newest() && !Finish(job.state, *job.ticket)) {
            const Lock lock(control);
            ShowComing(CurrentState());
        }
    } catch (const std::exception& error) {
        Say(error.what());
        const Lock lock(control);
        if (!incoming && newestSeat != nullptr) {
            // What was to follow what plays does not come.
            newestSeat->generation = exchange.Newest();
        }
    }
}

void PluginInstrument::Inside::Begin(const PluginState& state) {
    if (const std::optional<Ticket> ticket = Announce(state)) {
        ShowComing(state);
        AddJob({{}, ticket, state});
    }
}

bool PluginInstrument::BeginState(std::string_view text) {
    const std::optional<PluginState> state = inside->ReadState(text, {});
    if (state) {
        const Inside::Lock lock = inside->TakeControl();
        inside->Begin(*state);
    }
    return state.has_value();
}

bool PluginInstrument::BeginProgram(std::uint32_t index) {
    std::optional<Inside::ReadyProgram> ready = inside->ReadProgram(index);
    if (ready) {
        const Inside::Lock lock = inside->TakeControl();
        inside->Begin(inside->WithProgram(std::move(*ready)));
    }
    return ready.has_value();
}

bool PluginInstrument::IsLoading() const { return inside->jobCount > 0; }

} // namespace orphia::plugin
