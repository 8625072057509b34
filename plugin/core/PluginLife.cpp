// SPDX-License-Identifier: GPL-3.0-or-later
// How instruments are built and change places.
#include "host/parameters/ParameterText.h"
#include "host/presets/NeutralStart.h"
#include "plugin/core/Catalog.h"
#include "plugin/core/PluginInside.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

namespace orphia::plugin {

namespace {

constexpr std::chrono::seconds longestLoad{30};
constexpr std::chrono::milliseconds loaderPause{50};
constexpr std::size_t mostMessages = 200;

} // namespace

PluginInstrument::Inside::Inside(const Options& given)
    : options(given), stage(exchange), adapter(stage), dry(given.kind == Kind::Effect) {
    events.reserve(PluginBlock::mostEvents);
    kept.reserve(PluginBlock::mostEvents);
    stage.loadProgramNow = [this] { LoadProgramOffline(); };
    try {
        engine = host::EngineLibrary::Load(options.library);
    } catch (const std::exception& error) {
        Say(error.what());
    }
    programs = std::make_shared<const ProgramList>(options.presetFolder);
    PluginState state;
    state.preset = host::DefaultPreset(Catalog());
    state.program = programs->programs.front().id;
    Load(state);
    exchange.TakeTold([](std::uint32_t) {});
}

PluginInstrument::Inside::~Inside() {
    StopLoader();
    StopBuilder();
}

void PluginInstrument::Inside::Say(std::string message) {
    const std::scoped_lock lock(messagesLock);
    if (messages.size() < mostMessages) {
        messages.push_back(std::move(message));
    }
}

/// An audio thread that loads offline goes on serving who waits for it.
PluginInstrument::Inside::Lock PluginInstrument::Inside::TakeControl() {
    if (loadingAudioThread.load() != std::this_thread::get_id()) {
        return Lock(control);
    }
    Lock lock(control, std::try_to_lock);
    while (!lock.owns_lock()) {
        stage.Settle();
        stage.ServeSnapshot();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        lock = Lock(control, std::try_to_lock);
    }
    return lock;
}

void PluginInstrument::Inside::Activate(std::uint32_t sampleRate) {
    StopLoader();
    {
        const Lock lock = TakeControl();
        isActive = false;
        const bool isOther = rate.exchange(sampleRate) != sampleRate;
        if (stage.Current() == nullptr && engine != nullptr) {
            const PluginState state = *incoming;
            if (auto seat = Build(state, rate, exchange.Newest())) {
                Publish(state, std::move(seat));
            }
        } else if (stage.Current() != nullptr) {
            for (int round = 0; round < 2; ++round) {
                stage.seats.Collect();
                stage.Settle();
            }
            if (isOther) {
                stage.Current()->instrument.SetSampleRate(rate);
            }
        }
        if (stage.Current() != nullptr) {
            stage.Settle();
            // An export sounds the same each time, whatever was played before.
            stage.Current()->instrument.SeedNoise(options.seed);
            stage.Current()->LetLatencyShow();
            latency = stage.FramesPerBlock() + stage.LatencyFrames();
        }
        stage.Restart();
        adapter.Reset();
        dry.SetBypassed(IsBypassed());
        dry.Restart(rate);
        kept.clear();
        calls = 0;
        isActive = true;
    }
    StartLoader();
}

void PluginInstrument::Inside::StartLoader() {
    loaderEnds = false;
    loader = std::thread([this] {
        std::unique_lock lock(loaderLock);
        while (!loaderWakes.wait_for(lock, loaderPause, [this] { return loaderEnds; })) {
            LoadWantedProgram();
            const Lock controls = TakeControl();
            stage.seats.Collect();
            stage.macros.Collect();
        }
    });
}

void PluginInstrument::Inside::StopLoader() {
    if (loader.joinable()) {
        {
            const std::scoped_lock lock(loaderLock);
            loaderEnds = true;
        }
        loaderWakes.notify_all();
        loader.join();
    }
}

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
            // What was wished for the one that failed is for the one that stays.
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

} // namespace orphia::plugin
