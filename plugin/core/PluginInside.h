// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/presets/PresetLibrary.h"
#include "plugin/core/PluginInstrument.h"
#include "plugin/core/stage/DryPath.h"
#include "plugin/core/stage/Stage.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace orphia::plugin {

/// The default preset, then those of a library.
struct ProgramList {
    explicit ProgramList(const std::optional<std::filesystem::path>& folder);

    host::Preset Read(std::uint32_t index, std::vector<std::string>& warnings) const;
    /// Of a bank and number, as Stage::wantedProgram has them.
    std::optional<std::uint32_t> IndexOf(std::int32_t bankAndNumber) const;

    host::PresetLibrary library;
    std::vector<PluginInstrument::Program> programs;
    std::uint32_t factoryCount = 0;
};

/// What stands behind a PluginInstrument; for its own sources only.
struct PluginInstrument::Inside {
    explicit Inside(const Options& options);
    ~Inside();
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

    // ---- The audio thread

    void Process(const PluginBlock& block);
    void ProcessPiece(const PluginBlock& block, std::uint32_t start, std::uint32_t count);
    void GatherEvents(const PluginBlock& block, std::uint32_t start, std::uint32_t count);
    void KeepEvents(const PluginBlock& block);
    void MixDry(float* const* output, std::uint32_t frames);
    void LoadProgramOffline();

    // ---- Message threads. Who needs `control` takes it himself, if nothing else is said.

    using Lock = std::unique_lock<std::mutex>;
    Lock TakeControl();
    void Say(std::string message);
    void Activate(std::uint32_t sampleRate);
    void StartLoader();
    void StopLoader();
    void LoadWantedProgram();
    /// Of a state that is announced: which one it is, and for which rate it is built.
    struct Ticket {
        std::uint32_t generation = 0;
        std::uint32_t rate = 0;
    };
    bool Load(const PluginState& state);
    std::optional<Ticket> Announce(const PluginState& state);
    bool Finish(const PluginState& state, Ticket ticket);
    std::optional<PluginState> ReadState(std::string_view text, const PathMapping& mapping);
    struct ReadyProgram {
        std::string id;
        host::Preset preset;
    };
    std::optional<ReadyProgram> ReadProgram(std::uint32_t index);
    bool LoadProgram(std::uint32_t index);
    std::unique_ptr<Seat> Build(const PluginState& state, std::uint32_t sampleRate, std::uint32_t generation);

    /// What the builder does: a state that is announced, or samples.
    struct Job {
        SampleOrder order;
        std::optional<Ticket> ticket;
        PluginState state;
        /// Of `stateLoads`, when samples were ordered.
        std::uint32_t stateLoads = 0;
        /// Cancelled, or there.
        bool isOver = false;
    };
    void StopBuilder();
    void BuildAll();
    void Do(Job& job);
    void LoadOrdered(Job& job);
    static std::string LeaveOutBad(SampleOrder& order);
    using SamplePaths = std::map<std::uint32_t, std::filesystem::path>;
    std::unique_ptr<Seat> BuildWith(const SamplePaths& base, SamplesDone& done, std::uint32_t builtRate);

    // ---- Under `control`

    void AddJob(Job job);
    const SamplePaths& PathsNow() const;
    void Begin(const PluginState& state);
    PluginState WithProgram(ReadyProgram wanted);
    void ShowComing(const PluginState& state);
    PluginState TakeOver();
    void Commit(SamplesDone& done, std::unique_ptr<Seat> seat, std::uint32_t builtRate);
    void Publish(const PluginState& state, std::unique_ptr<Seat> seat);
    void ShowFrame(const PluginState& state);
    void SetMacros(const Stage::Macros& next);
    void TellAll();
    bool IsBypassed() const { return exchange.Shown(exchange.IndexOf(PluginParameters::bypass)) >= 0.5F; }
    /// All but the settings.
    PluginState Frame() const;
    PluginState Unbuilt(std::uint32_t generation) const;
    PluginState Unbuilt() const { return Unbuilt(exchange.Newest()); }
    PluginState CurrentState();
    void WaitForSnapshot();
    std::chrono::nanoseconds LongestPause() const;

    /// Who works on the stage: a message thread only while the audio thread has not come for long.
    enum Holder : int { Nobody, AudioThread, MessageThread };

    Options options;
    std::shared_ptr<const host::EngineLibrary> engine;
    ParameterExchange exchange;
    Stage stage;
    host::BlockAdapter adapter;
    DryPath dry;
    std::vector<host::TimedEvent> events;
    /// Of calls without frames.
    std::vector<host::TimedEvent> kept;

    std::atomic<bool> isActive{false};
    std::atomic<int> holder{Nobody};
    /// Of Process, since Activate, and how many frames the last one had.
    std::atomic<std::uint64_t> calls{0};
    std::atomic<std::uint32_t> lastFrames{0};
    std::atomic<std::uint32_t> latency{0};
    std::atomic<int> wantedBypass{-1};
    /// The audio thread while it loads offline.
    std::atomic<std::thread::id> loadingAudioThread{};

    std::mutex control;
    /// What is being built; as long as nothing is, all that there is.
    std::optional<PluginState> incoming;
    std::atomic<std::uint32_t> rate{0};
    /// The names and samples of the newest, without settings; samples that are missing too.
    host::Preset identity;
    std::string program;
    Stage::Macros macros;
    Seat* newestSeat = nullptr;
    std::shared_ptr<const ProgramList> programs;
    std::atomic<bool> programChanged{false};
    std::atomic<std::uint32_t> toldLatency{0};

    /// Of the last TakeLevels.
    struct Clocks {
        std::uint64_t ticks = 0;
        std::chrono::steady_clock::time_point time;
        std::uint64_t busy = 0;
        std::uint64_t frames = 0;
    };
    Clocks clocks;

    std::mutex messagesLock;
    std::vector<std::string> messages;

    /// In order; the first is at work.
    std::deque<Job> jobs;
    std::atomic<std::size_t> jobCount{0};
    std::deque<SamplesDone> samplesDone;
    /// How often a sound came that makes void what was ordered before.
    std::uint32_t stateLoads = 0;
    std::thread builder;
    std::condition_variable builderWakes;
    bool builderEnds = false;

    std::thread loader;
    std::mutex loaderLock;
    std::condition_variable loaderWakes;
    bool loaderEnds = false;
};

} // namespace orphia::plugin
