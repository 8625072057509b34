// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/engine/BlockEngine.h"
#include "host/engine/MeterReading.h"
#include "host/instrument/Instrument.h"
#include "plugin/core/parameters/MidiLearn.h"
#include "plugin/core/parameters/ParameterExchange.h"
#include "plugin/core/stage/ControllerLog.h"
#include "plugin/core/stage/Handover.h"
#include "plugin/core/stage/Watch.h"
#include "plugin/core/state/PluginState.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace orphia::plugin {

/// An instrument and which one in turn it is.
struct Seat {
    Seat(std::shared_ptr<const host::EngineLibrary> library, std::uint32_t rate, std::uint32_t seed)
        : instrument(std::move(library), rate, seed) {}

    /// Effects are there once they have been started, and tell how late they are when they start again.
    void LetLatencyShow() {
        for (int start = 0; start < 2; ++start) {
            instrument.Send({});
            instrument.Reset();
        }
    }

    host::Instrument instrument;
    /// A later one when what was to follow could not be built.
    std::atomic<std::uint32_t> generation{0};
    /// All but samples is as in the one before it.
    bool goesOn = false;
};

/// Where instruments play in turn. The next one is taken at the start of a block, and the sound goes over to
/// it; the block is also where wishes of message threads arrive.
///
/// For the audio thread; a message thread may stand in for it while it rests. What follows "any thread" is
/// for all.
class Stage final : public host::BlockEngine {
public:
    using Macros = std::array<Macro, PluginParameters::macroCount>;

    explicit Stage(ParameterExchange& exchange);
    ~Stage() override;
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    Seat* Current() { return current; }
    const Seat* Current() const { return current; }
    /// At once, whatever sounds; allocates.
    void Place(std::unique_ptr<Seat> seat);

    /// The sound begins anew, and frames are counted from here.
    void Restart();
    /// In front of the audio of a call. Null without a transport of the host.
    void Begin(const host::Transport* transport, std::uint32_t frames);
    /// The next instrument, if there is one and the last change is over. With what was played since it was
    /// ordered, but notes.
    void Adopt();
    /// The same while no sound is made: nothing is on its way any more.
    void Settle();
    /// What was wished for the one that plays.
    void TakeWishes();
    /// Copies all positions for AskForSnapshot.
    void ServeSnapshot();

    std::uint32_t FramesPerBlock() const override;
    std::uint32_t LatencyFrames() const override;
    /// False also for what is for the next instrument, while the last change goes on; what is set meanwhile
    /// does not wait.
    bool Send(const host::MidiMessage& message) override;
    /// Also of a macro; the bypass is not heard of here.
    void Set(const host::ParameterSetting& setting) override;
    void ProcessBlock(const float* const* voice, std::uint32_t voiceChannels, float* const* output) override;

    // ---- Any thread

    Handover<Seat> seats;
    Handover<Macros> macros;
    Watch watch;
    MidiLearn learn;
    std::atomic<bool> isOffline{false};
    std::atomic<bool> endsNotes{false};
    /// The program that a message asked for, by bank and number; below 0 for none.
    std::atomic<std::int32_t> wantedProgram{-1};
    /// While offline, what loads it, within the block; set before there is an audio thread.
    std::function<void()> loadProgramNow;

    void AskForSnapshot() { snapshotState.store(Asked, std::memory_order_release); }
    bool HasSnapshot() const { return snapshotState.load(std::memory_order_acquire) == Served; }
    /// By who asked for it, after HasSnapshot.
    const host::Instrument::Snapshot& Snapshot() const { return snapshot; }

    host::MeterReading TakeMeters();

private:
    enum SnapshotState : int { None, Asked, Served };

    void FadeOver(const float* const* voice, std::uint32_t channels, float* const* output);
    void EndFade();
    /// The program that was asked for comes with the next block.
    bool LoadsNow() const {
        return isOffline.load(std::memory_order_relaxed) &&
               wantedProgram.load(std::memory_order_relaxed) >= 0;
    }
    bool IsNextOrdered() const { return exchange.Newest() != current->generation; }
    void SetEngine(std::uint32_t id, float position);
    /// Leaves alone what was wished for in the same moment.
    void MoveMacro(std::uint32_t macro, float position, std::uint32_t moment);
    /// All of them twice, since some follow late.
    void LookAtListed() { looksLeft = 2 * static_cast<std::uint32_t>(listed.size()); }
    void WatchListed();
    void See(std::uint32_t listed);
    void PublishMeters();
    void PublishReadings();
    bool SelectBank(const host::MidiMessage& message);
    host::Transport TransportAt(std::int64_t framesFromCall) const;

    ParameterExchange& exchange;
    Seat* current = nullptr;
    Seat* leaving = nullptr;
    Macros* assigned;
    std::uint32_t fadeFrames = 1;
    std::uint32_t fadeDone = 0;
    bool hasSounded = false;
    /// What the one that leaves plays while it does.
    std::array<std::array<float, longestBlock>, 2> rest{};

    /// The listed parameters and where the engine had them when it was last asked.
    std::vector<std::uint32_t> listed;
    std::vector<std::uint32_t> placeInListed;
    std::vector<float> seen;
    std::uint32_t nextWatched = 0;
    std::uint32_t looksLeft = 0;
    /// What an editor reads: what the engine writes, and wheels and pedals.
    std::vector<std::uint32_t> readable;
    std::uint32_t framesUnread = 0;

    bool hasTransport = false;
    host::Transport given;
    /// At the start of the block that is being collected.
    host::Transport latched;
    std::uint64_t callStart = 0;
    std::uint32_t callFrames = 0;
    std::uint64_t blockStart = 0;

    /// In which moment each parameter was wished for.
    std::vector<std::uint32_t> wishedIn;
    std::uint32_t moment = 0;

    std::array<std::uint8_t, 2> bank{};
    ControllerLog sinceOrder;
    /// Messages wait for the next instrument.
    bool holdsBack = false;

    std::atomic<int> snapshotState{None};
    host::Instrument::Snapshot snapshot;

    static constexpr std::size_t meterCount = sizeof(host::MeterReading) / sizeof(float);
    static_assert(std::is_trivially_copyable_v<host::MeterReading>);
    std::array<std::atomic<float>, meterCount> meters{};
};

} // namespace orphia::plugin
