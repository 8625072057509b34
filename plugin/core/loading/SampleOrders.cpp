// SPDX-License-Identifier: GPL-3.0-or-later
// Samples that are read while all else goes on.
#include "host/common/Paths.h"
#include "plugin/core/PluginInside.h"
#include "plugin/core/parameters/Catalog.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace orphia::plugin {

namespace {

constexpr std::size_t mostKept = 16;

std::string NameOf(const std::filesystem::path& path) { return host::TextOf(path.filename()); }

/// Why a file cannot be a sound, as far as can be seen from outside; empty for one that may be.
std::string ProblemOf(const std::filesystem::path& path) {
    std::error_code none;
    if (std::filesystem::is_fifo(path, none)) {
        return NameOf(path) + ": is a pipe, which may never end";
    }
    return std::filesystem::is_regular_file(path, none) ? std::string() : NameOf(path) + ": no such file";
}

/// Paths in messages and presets alike begin at the root.
std::filesystem::path WholePath(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::path whole = path.empty() ? path : std::filesystem::absolute(path, error);
    return error ? path : whole.lexically_normal();
}

void SetPath(std::map<std::uint32_t, std::filesystem::path>& paths, std::uint32_t sample,
             const std::filesystem::path& path) {
    if (path.empty()) {
        paths.erase(sample);
    } else {
        paths[sample] = WholePath(path);
    }
}

/// Puts what was ordered into a state.
void Take(const PluginInstrument::SampleOrder& order, PluginState& state) {
    if (!state.preset.samples) {
        state.preset.samples.emplace();
    }
    for (const auto& [sample, path] : order.paths) {
        SetPath(*state.preset.samples, sample, path);
        const auto found = order.positions.find(sample);
        for (std::size_t n = 0; found != order.positions.end() && n < found->second.size(); ++n) {
            state.SetPosition(found->second[n].first, found->second[n].second);
        }
    }
}

} // namespace

const PluginInstrument::Inside::SamplePaths& PluginInstrument::Inside::PathsNow() const {
    static const SamplePaths nothing;
    const auto& samples = incoming ? incoming->preset.samples : identity.samples;
    return samples ? *samples : nothing;
}

/// Returns why something was left out.
std::string PluginInstrument::Inside::LeaveOutBad(SampleOrder& order) {
    std::string first;
    std::erase_if(order.paths, [&first](const auto& each) {
        const std::string problem = each.second.empty() ? std::string() : ProblemOf(each.second);
        first = first.empty() ? problem : first;
        return !problem.empty();
    });
    return first;
}

/// All samples that there are, in an instrument that gets all else when they have been read: so what is
/// turned meanwhile is not lost.
void PluginInstrument::Inside::LoadOrdered(Job& job) {
    SamplesDone done{job.order, {}, {}, {}};
    done.problem = LeaveOutBad(done.order);
    SamplePaths base;
    std::uint32_t builtRate = 0;
    {
        const Lock lock(control);
        base = PathsNow();
        builtRate = engine != nullptr ? rate.load() : 0;
    }
    std::unique_ptr<Seat> seat;
    if (builtRate != 0 && !done.order.paths.empty()) {
        seat = BuildWith(base, done, builtRate);
    }
    const Lock lock(control);
    if (std::exchange(job.isOver, true)) {
        return;
    }
    if (!done.order.paths.empty() && (job.stateLoads != stateLoads || PathsNow() != base)) {
        done.problem = "Samples were not loaded, since another sound was";
        done.order.paths.clear();
    }
    if (!done.order.paths.empty()) {
        Commit(done, std::move(seat), builtRate);
    }
    samplesDone.push_back(std::move(done));
    if (samplesDone.size() > mostKept) {
        samplesDone.pop_front();
    }
}

/// What cannot be played is taken out of the order.
std::unique_ptr<Seat> PluginInstrument::Inside::BuildWith(const SamplePaths& base, SamplesDone& done,
                                                          std::uint32_t builtRate) {
    PluginState state;
    const auto all = [&] {
        SamplePaths paths = base;
        for (const auto& [sample, path] : done.order.paths) {
            SetPath(paths, sample, path);
        }
        return paths;
    };
    state.preset.samples = all();
    std::unique_ptr<Seat> seat = Build(state, builtRate, 0);
    const std::size_t bad = std::erase_if(done.order.paths, [&](const auto& each) {
        const bool isBad =
            seat == nullptr || (!each.second.empty() && !seat->instrument.HasSample(each.first));
        if (isBad && done.problem.empty()) {
            done.problem = NameOf(each.second) + ": cannot be played as a sample";
        }
        return isBad;
    });
    if (seat != nullptr && bad > 0) {
        state.preset.samples = all();
        seat->instrument.LoadPreset(state.preset);
    }
    return seat;
}

/// How all is now; what is wished from here on is for another generation.
PluginState PluginInstrument::Inside::TakeOver() {
    const std::uint32_t generation = exchange.Newest();
    exchange.NextGeneration();
    return incoming ? Unbuilt(generation) : CurrentState();
}

/// Without a seat, as long as nothing sounds.
void PluginInstrument::Inside::Commit(SamplesDone& done, std::unique_ptr<Seat> seat,
                                      std::uint32_t builtRate) {
    const bool hasOwnControllers = incoming && incoming->controllers;
    const bool isOfWhatPlays = !incoming;
    const PluginState before = TakeOver();
    PluginState after = before;
    Take(done.order, after);
    PluginState shown = after;
    if (!hasOwnControllers) {
        shown.controllers.reset();
    }
    if (seat != nullptr) {
        host::Preset settings = shown.preset;
        settings.samples.reset();
        seat->instrument.LoadPreset(settings);
        if (builtRate != rate) {
            seat->instrument.SetSampleRate(rate);
        }
        seat->LetLatencyShow();
        seat->generation = exchange.Newest();
        seat->goesOn = isOfWhatPlays;
        Publish(shown, std::move(seat));
    } else if (const std::optional<Ticket> ticket = Announce(shown)) {
        AddJob({{}, ticket, shown});
    }
    done.before = FormatState(before);
    done.after = FormatState(after);
}

void PluginInstrument::OrderSamples(SampleOrder order) {
    std::erase_if(order.paths, [](const auto& each) { return each.first >= host::Preset::sampleCount; });
    const Inside::Lock lock = inside->TakeControl();
    inside->AddJob({std::move(order), std::nullopt, {}, inside->stateLoads});
}

bool PluginInstrument::CancelSamples() {
    const Inside::Lock lock = inside->TakeControl();
    const auto newest = std::find_if(inside->jobs.rbegin(), inside->jobs.rend(),
                                     [](const auto& job) { return !job.ticket && !job.isOver; });
    if (newest == inside->jobs.rend()) {
        return false;
    }
    newest->isOver = true;
    return true;
}

std::map<std::uint32_t, std::filesystem::path> PluginInstrument::OrderedSamples() const {
    std::map<std::uint32_t, std::filesystem::path> paths;
    if (!IsLoading()) {
        return paths;
    }
    const Inside::Lock lock = inside->TakeControl();
    for (const Inside::Job& job : inside->jobs) {
        for (const auto& [sample, path] : job.order.paths) {
            if (!job.isOver) {
                paths[sample] = path;
            }
        }
    }
    return paths;
}

std::filesystem::path PluginInstrument::SamplePath(std::uint32_t sample) {
    const Inside::Lock lock = inside->TakeControl();
    const Inside::SamplePaths& paths = inside->PathsNow();
    const auto found = paths.find(sample);
    return found != paths.end() ? found->second : std::filesystem::path();
}

std::optional<PluginInstrument::SamplesDone> PluginInstrument::TakeSamplesDone() {
    const Inside::Lock lock = inside->TakeControl();
    if (inside->samplesDone.empty()) {
        return std::nullopt;
    }
    SamplesDone done = std::move(inside->samplesDone.front());
    inside->samplesDone.pop_front();
    return done;
}

} // namespace orphia::plugin
