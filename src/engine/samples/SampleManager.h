// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/resources/ResourceManager.h"
#include "dsp/sampler/files/SampleData.h"
#include "support/platform/Types.h"

#include <array>
#include <atomic>
#include <bitset>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmora::engine {

/// Brings samples from their files to the audio thread, which only posts requests and takes what has come.
/// A file that several slots ask for is read once, and they share the sample. A slot keeps its old sample
/// until the new one is there; a file that gives none leaves it there for good.
///
/// All public operations are for the audio thread (or, while no blocks run, for one other thread): none of
/// them locks, allocates or frees. A block calls RunResults(), reads Updated() and calls DispatchRequests().
/// Files are loaded whole.
class SampleManager : public dsp::ResourceManager<64, 12> {
public:
    using Data = dsp::SampleData;
    static constexpr u32 slotCount = 12;
    /// Longest path in bytes of UTF-8.
    static constexpr std::size_t maximumPathLength = 256;

    SampleManager();
    virtual ~SampleManager();

    /// Asks for the file at `path` for a slot; an empty path empties the slot. A path that the slot asked for
    /// last changes nothing, even when its file could not be loaded. False, and nothing happens, when the
    /// slot is out of range or the path is too long or contains a zero byte.
    bool SetPath(u32 slot, std::string_view path);

    /// Posts what was asked for to the worker. A slot whose load still runs has its turn after that.
    void DispatchRequests();

    /// Slots whose sample has changed since ClearUpdated(), each once.
    std::span<const u32> Updated() const { return updated; }
    void ClearUpdated() { updated.clear(); }

    /// The sample in a slot; null when it is empty or out of range. As long as the manager lives, whoever
    /// drops a copy of it frees nothing: the worker does.
    const std::shared_ptr<const Data>& Sample(u32 slot) const;

    /// Set-up only: what the worker calls before it hands a sample over.
    void CallBeforeSamples(std::function<void()> call) { beforeSample = std::move(call); }

    /// Some request waits or is being loaded. A file that could not be loaded is neither.
    bool IsLoading() const;

protected:
    /// Worker: reads the file, or returns null when it gives no sample. May raise anything, which counts as
    /// null and is logged. A class that overrides this calls StopWorker() in its destructor.
    virtual std::shared_ptr<const Data> Load(u32 slot, const std::string& path);

private:
    using Slots = std::bitset<slotCount>;

    enum LoadState : u32 { Idle, Posted };

    struct Slot {
        std::shared_ptr<const Data> sample;
        /// The file of `sample`; while inFlight, the file that shall replace it.
        std::string pathInUse;
        std::string requestedPath;
        /// The worker's copy: written only on the way from Idle to Posted, since the others may change while
        /// the worker reads. A result is for this path.
        std::string postedPath;
        /// k + 1: takes the result of slot k if that is for requestedPath. 0 for none.
        u32 waitedFor = 0;
        /// pathInUse was posted and has not come; so it stays when its load failed.
        bool inFlight = false;
        std::atomic<u32> loadState{Idle};
    };

    // Requests.
    void Place(u32 slot);
    /// Uses what the other slot, whose path in use is the requested one, has or waits for.
    bool JoinHolder(u32 slot, const Slot& other, u32 otherSlot);
    /// Slots that wait for the request of this slot, while that is still to be dispatched.
    Slots WaitersForRequest(u32 slot) const;
    /// The slot needs no load of its own (any more); waitedFor as in Slot.
    void EndRequest(u32 slot, u32 waitedFor);
    void Take(u32 slot, const std::shared_ptr<const Data>& sample, const std::string& path);
    void MarkUpdated(u32 slot);

    // Loads.
    bool Dispatch(u32 slot);
    void Clear(u32 slot);
    bool Post(u32 slot);
    void RunLoad(u32 slot, const std::string& path) noexcept;
    void TakeResult(u32 slot, const std::shared_ptr<const Data>& sample);

    static inline const std::shared_ptr<const Data> noSample;

    std::function<void()> beforeSample = [] {};

    std::array<Slot, slotCount> slots;
    /// Requests that wait for dispatch.
    Slots pending;
    bool needsDispatch = false;
    std::vector<u32> updated;
};

} // namespace Velmora::engine
