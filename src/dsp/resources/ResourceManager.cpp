// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/resources/ResourceManager.h"

#include "support/CLog.h"
#include "support/platform/Platform.h"
#include "support/platform/Threads.h"

#include <exception>
#include <string>
#include <utility>

namespace Velmora::dsp {

template <std::size_t captureSize, u32 queueSize>
ResourceManager<captureSize, queueSize>::ResourceManager() {
    if (Platform::HasThreads()) {
        worker = std::thread([this] { WorkerLoop(); });
    }
}

template <std::size_t captureSize, u32 queueSize>
ResourceManager<captureSize, queueSize>::~ResourceManager() {
    StopWorker();
}

template <std::size_t captureSize, u32 queueSize>
void ResourceManager<captureSize, queueSize>::StopWorker() {
    if (!stopping.exchange(true, std::memory_order_acq_rel) && worker.joinable()) {
        worker.join();
    }
}

template <std::size_t captureSize, u32 queueSize>
void ResourceManager<captureSize, queueSize>::RunResults() {
    if (!Platform::HasThreads()) {
        FreeUnused();
        RunCommands();
    }
    RunFinished();
}

template <std::size_t captureSize, u32 queueSize>
void ResourceManager<captureSize, queueSize>::RunFinished() {
    Call result;
    while (results.Pop(result)) {
        result(true);
    }
}

template <std::size_t captureSize, u32 queueSize>
bool ResourceManager<captureSize, queueSize>::PostResult(Call& result) noexcept {
    while (!results.Push(result)) {
        if (IsStopping()) {
            return false;
        }
        if (Platform::HasThreads()) {
            std::this_thread::sleep_for(retryTime);
        } else {
            RunFinished();
        }
    }
    return true;
}

template <std::size_t captureSize, u32 queueSize>
void ResourceManager<captureSize, queueSize>::Keep(std::unique_ptr<ResourceBase> resource) {
    const std::lock_guard lock(mutex);
    resources.push_back(std::move(resource));
}

template <std::size_t captureSize, u32 queueSize>
void ResourceManager<captureSize, queueSize>::WorkerLoop() noexcept {
    try {
        Platform::SetThreadName("Resource worker");
    } catch (...) {
        LogCurrentException("Resource worker");
    }
    while (!IsStopping()) {
        FreeUnused();
        RunCommands();
        std::this_thread::sleep_for(sleepTime);
    }
}

template <std::size_t captureSize, u32 queueSize>
void ResourceManager<captureSize, queueSize>::FreeUnused() {
    const std::lock_guard lock(mutex);
    std::erase_if(resources, [](const auto& resource) { return resource->UseCount() < 2; });
}

template <std::size_t captureSize, u32 queueSize>
void ResourceManager<captureSize, queueSize>::RunCommands() {
    Call command;
    while (!IsStopping() && commands.Pop(command)) {
        try {
            command(true);
        } catch (...) {
            LogCurrentException("Resource worker");
        }
    }
}

template <std::size_t captureSize, u32 queueSize>
void ResourceManager<captureSize, queueSize>::LogCurrentException(std::string_view what,
                                                                  std::string_view which) noexcept {
    try {
        std::string message(what);
        message.append(which);
        try {
            // cppcheck-suppress rethrowNoCurrentException ; only called where one is being handled
            throw;
        } catch (const std::exception& exception) {
            message.append(": ").append(exception.what());
        } catch (...) {
            message.append(": unknown exception");
        }
        CLog::GetInstance().Log("audio_engine", LogLevel::Error, message);
    } catch (...) {
        // Out of memory for the message as well: the worker goes on without it.
        return;
    }
}

template class ResourceManager<64, 12>;

} // namespace Velmora::dsp
