// SPDX-License-Identifier: GPL-3.0-or-later
// How an instrument begins, rests and ends.
#include "plugin/core/PluginInside.h"
#include "plugin/core/parameters/Catalog.h"

#include <chrono>
#include <exception>
#include <utility>

namespace orphia::plugin {

namespace {

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

} // namespace orphia::plugin
