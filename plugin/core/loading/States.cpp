// SPDX-License-Identifier: GPL-3.0-or-later
// States: how all is now, and how that is saved and comes back.
#include "plugin/core/PluginInside.h"
#include "plugin/core/parameters/Catalog.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

namespace orphia::plugin {

PluginState PluginInstrument::Inside::Frame() const {
    PluginState state;
    state.preset = identity;
    state.program = program;
    state.macros = macros;
    for (std::uint32_t macro = 0; macro < macros.size(); ++macro) {
        state.macroPositions[macro] = exchange.Shown(exchange.IndexOf(PluginParameters::firstMacro + macro));
    }
    state.isBypassed = IsBypassed();
    state.controllers = stage.learn.All();
    return state;
}

/// What is on its way, and what was wished since.
PluginState PluginInstrument::Inside::Unbuilt(std::uint32_t generation) const {
    PluginState state = *incoming;
    if (!state.controllers) {
        state.controllers = stage.learn.All();
    }
    if (rate == 0 || engine == nullptr) {
        const host::Preset preset = std::move(state.preset);
        state = Frame();
        state.preset = preset;
    }
    const auto engineCount = static_cast<std::uint32_t>(Catalog().Parameters().size());
    exchange.LookAtWishes(generation, [&](std::uint32_t index, float position) {
        if (index < engineCount) {
            state.SetPosition(index, position);
            return;
        }
        if (index == exchange.Count() - 1) {
            state.isBypassed = position >= 0.5F;
            return;
        }
        state.macroPositions[index - engineCount] = position;
        for (const MacroTarget& target : state.macros[index - engineCount].targets) {
            // What is wished for by itself has its own place, as in Stage::MoveMacro.
            if (!exchange.IsWanted(target.id)) {
                state.SetPosition(target.id, target.At(position));
            }
        }
    });
    return state;
}

PluginState PluginInstrument::Inside::CurrentState() {
    if (incoming) {
        return Unbuilt();
    }
    WaitForSnapshot();
    PluginState state = Frame();
    state.preset.settings = newestSeat->instrument.CapturePreset(stage.Snapshot()).settings;
    return state;
}

/// Between two calls of the audio thread that is at work; none when it has not begun.
std::chrono::nanoseconds PluginInstrument::Inside::LongestPause() const {
    if (!isActive || calls.load(std::memory_order_relaxed) == 0) {
        return std::chrono::nanoseconds(0);
    }
    const double seconds = 0.02 + 2.0 * lastFrames.load(std::memory_order_relaxed) / rate;
    return std::chrono::nanoseconds(static_cast<std::int64_t>(1e9 * seconds));
}

/// The audio thread takes one with its next block. When it does not come for long, nothing sounds, and this
/// thread stands in for it.
void PluginInstrument::Inside::WaitForSnapshot() {
    using Clock = std::chrono::steady_clock;
    stage.AskForSnapshot();
    std::uint64_t lastCall = calls.load(std::memory_order_relaxed);
    for (Clock::time_point last = Clock::now(); !stage.HasSnapshot();) {
        stage.seats.Collect();
        stage.macros.Collect();
        if (const std::uint64_t call = calls.load(std::memory_order_relaxed); call != lastCall) {
            lastCall = call;
            last = Clock::now();
        }
        int nobody = Nobody;
        const bool rests = Clock::now() - last >= LongestPause();
        if (rests && holder.compare_exchange_strong(nobody, MessageThread, std::memory_order_acquire)) {
            stage.Settle();
            stage.ServeSnapshot();
            holder.store(Nobody, std::memory_order_release);
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}

std::string PluginInstrument::SaveState(const PathMapping& mapping) {
    const Inside::Lock lock = inside->TakeControl();
    return FormatState(inside->CurrentState(), mapping);
}

/// Nothing for a text that is no state. What was ordered for the sound before is void.
std::optional<PluginState> PluginInstrument::Inside::ReadState(std::string_view text,
                                                               const PathMapping& mapping) {
    std::vector<std::string> warnings;
    try {
        PluginState state = ParseState(text, warnings, mapping);
        std::for_each(warnings.begin(), warnings.end(), [this](const std::string& each) { Say(each); });
        const Lock lock = TakeControl();
        ++stateLoads;
        return state;
    } catch (const std::exception& error) {
        Say(error.what());
        return std::nullopt;
    }
}

bool PluginInstrument::LoadState(std::string_view text, const PathMapping& mapping) {
    const std::optional<PluginState> state = inside->ReadState(text, mapping);
    return state && inside->Load(*state);
}

} // namespace orphia::plugin
