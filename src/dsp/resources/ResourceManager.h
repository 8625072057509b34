// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/resources/CallRing.h"
#include "dsp/resources/Resource.h"
#include "support/CSingleton.h"
#include "support/platform/Types.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

namespace Velmora::dsp {

/// Does for the audio thread what that thread must not do: a worker thread runs commands which may block and
/// allocate, and answers by results, which the audio thread runs. Whatever is made on the way is owned here,
/// too, and freed by the worker once nobody else holds it. On a system without threads RunResults does the
/// worker's part as well, in its place.
///
/// Commands and results hold captureSize bytes; each queue holds queueSize of them. The implementation is in
/// ResourceManager.cpp, for <64, 12>.
template <std::size_t captureSize, u32 queueSize>
class ResourceManager {
public:
    ResourceManager(const ResourceManager&) = delete;
    ResourceManager& operator=(const ResourceManager&) = delete;

    /// Audio thread: runs the results that are there, in their order.
    void RunResults();

protected:
    /// Both kinds get true; there is nothing that they would have to decide by it.
    using Call = typename CallRing<queueSize, captureSize>::Call;

    /// Starts the worker. Raises std::system_error when the system has no thread for it.
    ResourceManager();
    ~ResourceManager();

    /// Waits until the worker has ended: for the command that runs, and one sleep. Commands still queued are
    /// dropped. Every derived class calls this in its destructor, or the worker meets members that are gone.
    /// Not from the worker.
    void StopWorker();

    /// Audio thread: queues a command; false leaves it with the caller as the queue is full. What a command
    /// raises is logged and ends that command only.
    bool PostCommand(Call& command) noexcept { return commands.Push(command); }

    /// Worker: queues a result, and waits for room as long as it takes. False when the worker is told to stop
    /// instead.
    bool PostResult(Call& result) noexcept;

    /// Worker: shares in an object until nobody else does. To be called before the audio thread can get it.
    void Keep(std::unique_ptr<ResourceBase> resource);

    /// In a handler: logs the exception behind two texts that say what failed.
    static void LogCurrentException(std::string_view what, std::string_view which = {}) noexcept;

private:
    static constexpr std::chrono::milliseconds sleepTime{10};
    static constexpr std::chrono::milliseconds retryTime{1};

    void WorkerLoop() noexcept;
    void FreeUnused();
    void RunCommands();
    void RunFinished();
    bool IsStopping() const { return stopping.load(std::memory_order_acquire); }

    const ServiceUser user;
    std::mutex mutex; // guards resources
    std::vector<std::unique_ptr<ResourceBase>> resources;
    CallRing<queueSize, captureSize> commands;
    CallRing<queueSize, captureSize> results;
    std::atomic<bool> stopping{false};
    std::thread worker;
};

} // namespace Velmora::dsp
