// SPDX-License-Identifier: GPL-3.0-or-later
// How instruments are built and change places.
#include "host/parameters/ParameterText.h"
#include "host/presets/NeutralStart.h"
#include "plugin/core/PluginInside.h"
#include "plugin/core/parameters/Catalog.h"

#include <chrono>
#include <exception>
#include <utility>

namespace orphia::plugin {

namespace {

constexpr std::chrono::seconds longestLoad{30};

} // namespace

std::unique_ptr<Seat> PluginInstrument::Inside::Build(const PluginState& state, std::uint32_t sampleRate,
                                                      std::uint32_t generation) {
    try {
        auto seat = std::make_unique<Seat>(engine, sampleRate, options.seed);
        seat->generation = generation;
        seat->instrument.SetLimiter(true);
        seat->instrument.SetOffline(stage.isOffline);
        for (std::string& problem : seat->instrument.LoadPreset(state.preset, longestLoad)) {
            Say(std::move(problem));
        }
        seat->LetLatencyShow();
        return seat;
    } catch (const std::exception& error) {
        Say(error.what());
        return nullptr;
    }
}

bool PluginInstrument::Inside::Load(const PluginState& state) {
    std::optional<Ticket> ticket;
    {
        const Lock lock = TakeControl();
        ticket = Announce(state);
    }
    return !ticket || Finish(state, *ticket);
}

/// Under `control`. No ticket when there is nothing to build.
std::optional<PluginInstrument::Inside::Ticket> PluginInstrument::Inside::Announce(const PluginState& state) {
    const std::uint32_t generation = exchange.NextGeneration();
    incoming = state;
    if (rate == 0 || engine == nullptr) {
        Publish(state, nullptr);
        incoming->controllers.reset();
        return std::nullopt;
    }
    return Ticket{generation, rate};
}

bool PluginInstrument::Inside::Finish(const PluginState& state, Ticket ticket) {
    std::unique_ptr<Seat> seat = Build(state, ticket.rate, ticket.generation);
    const Lock lock = TakeControl();
    if (ticket.generation != exchange.Newest()) {
        return seat != nullptr;
    }
    if (seat == nullptr) {
        if (newestSeat != nullptr) {
            // What was wished for the one that failed is for the one that stays, and so is what it has not
            // heard yet.
            exchange.LookAtWishes(newestSeat->generation, [this](std::uint32_t index, float position) {
                exchange.Want(index, position);
            });
            newestSeat->generation = ticket.generation;
            incoming.reset();
        }
        return false;
    }
    if (ticket.rate != rate) {
        seat->instrument.SetSampleRate(rate);
        seat->LetLatencyShow();
    }
    // With what has become of it since: macros are assigned to what comes.
    Publish(incoming ? PluginState(*incoming) : state, std::move(seat));
    return true;
}

/// Without a seat, what is kept until there is one.
void PluginInstrument::Inside::Publish(const PluginState& state, std::unique_ptr<Seat> seat) {
    if (seat != nullptr && isActive && stage.Current() == nullptr) {
        // Nothing plays that could give way: it is built when it is activated anew.
        incoming = state;
        seat = nullptr;
    }
    identity = {state.preset.name, state.preset.description, state.preset.tags, {}, state.preset.samples};
    program = state.program;
    SetMacros(state.macros);
    if (state.controllers) {
        stage.learn.Replace(*state.controllers);
    }
    for (const host::ParameterInfo& info : Catalog().Parameters()) {
        exchange.Show(info.id, seat != nullptr ? seat->instrument.Position(info.id)
                                               : host::NeutralStart::Get().Position(info.id));
    }
    for (const host::ParameterSetting& setting : state.preset.settings) {
        if (seat == nullptr) {
            exchange.Show(setting.id, host::PositionOf(Catalog(), setting));
        }
    }
    ShowFrame(state);
    TellAll();
    if (seat == nullptr) {
        return;
    }
    incoming.reset();
    newestSeat = seat.get();
    // Told before it sounds, so that a host that loads and renders at once is right.
    latency = seat->instrument.FramesPerBlock() + seat->instrument.LatencyFrames();
    if (isActive) {
        stage.seats.Offer(std::move(seat));
    } else {
        stage.Place(std::move(seat));
    }
}

/// What can be set is shown as it will be.
void PluginInstrument::Inside::ShowComing(const PluginState& state) {
    const host::NeutralStart& neutral = host::NeutralStart::Get();
    for (const host::ParameterInfo& info : Catalog().Parameters()) {
        if (neutral.IsPartOfPresets(info.id)) {
            exchange.Show(info.id, neutral.Position(info.id));
        }
    }
    for (const host::ParameterSetting& setting : state.preset.settings) {
        exchange.Show(setting.id, host::PositionOf(Catalog(), setting));
    }
    ShowFrame(state);
}

void PluginInstrument::Inside::ShowFrame(const PluginState& state) {
    for (std::uint32_t macro = 0; macro < state.macros.size(); ++macro) {
        exchange.Show(exchange.IndexOf(PluginParameters::firstMacro + macro), state.macroPositions[macro]);
    }
    exchange.Show(exchange.IndexOf(PluginParameters::bypass), state.isBypassed ? 1.0F : 0.0F);
    exchange.LookAtWishes(exchange.Newest(),
                          [this](std::uint32_t index, float position) { exchange.Show(index, position); });
    wantedBypass = IsBypassed() ? 1 : 0;
}

void PluginInstrument::Inside::SetMacros(const Stage::Macros& next) {
    macros = next;
    stage.macros.Offer(std::make_unique<Stage::Macros>(next));
}

void PluginInstrument::Inside::TellAll() {
    for (const PluginParameter& parameter : PluginParameters::Get().All()) {
        exchange.Tell(exchange.IndexOf(parameter.id));
    }
}

} // namespace orphia::plugin
