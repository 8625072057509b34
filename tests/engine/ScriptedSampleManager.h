// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/SampleData.h"
#include "engine/AudioThread.h"
#include "engine/SampleManager.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace orphia::test {

using Velmora::u32;
using SampleManagerBase = Velmora::engine::SampleManager<Velmora::dsp::SampleData, 12, 0>;

/// Decodes names instead of files: "bad" gives nothing, "once" nothing but once, "throw", "memory" and "odd"
/// raise. The rate of a sample is the place of its name in the order of decoding.
class ScriptedSampleManager final : public SampleManagerBase {
public:
    using Names = std::vector<std::string>;

    ~ScriptedSampleManager() override {
        SetOpen(true);
        StopWorker();
    }

    bool Ask(u32 slot, const std::string& path) {
        const AudioThread audio;
        return SetPath(slot, path);
    }
    void Block() {
        const AudioThread audio;
        RunResults();
        DispatchRequests();
    }
    void Settle() {
        do {
            Block();
            std::this_thread::yield();
        } while (IsLoading());
    }
    std::vector<u32> TakeUpdated() {
        std::vector<u32> taken(Updated().begin(), Updated().end());
        std::sort(taken.begin(), taken.end());
        ClearUpdated();
        return taken;
    }
    /// Name of the sample in a slot, "" for none.
    std::string Held(u32 slot) {
        return Sample(slot) == nullptr ? ""
                                       : Decoded().at(static_cast<std::size_t>(Sample(slot)->SampleRate()));
    }
    Names Decoded() {
        const std::lock_guard lock(mutex);
        return decoded;
    }
    std::ptrdiff_t CountDecoded(const std::string& path) {
        const Names names = Decoded();
        return std::count(names.begin(), names.end(), path);
    }
    /// While not open, loads stay within the decoder.
    void SetOpen(bool open) {
        const std::lock_guard lock(mutex);
        isOpen = open;
        changed.notify_all();
    }
    void WaitForDecoding(const std::string& path) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return !decoded.empty() && decoded.back() == path; });
    }
    bool PostToWorker(Call command) { return PostCommand(command); }
    bool PostToAudio(Call result) { return PostResult(result); }

    static inline std::atomic<int> livingSamples{0};

private:
    std::shared_ptr<const Velmora::dsp::SampleData> Load(u32 /*slot*/, const std::string& path) override {
        std::unique_lock lock(mutex);
        const auto place = static_cast<float>(decoded.size());
        const bool again = std::find(decoded.begin(), decoded.end(), path) != decoded.end();
        decoded.push_back(path);
        changed.notify_all();
        changed.wait(lock, [&] { return isOpen; });
        if (path == "throw") {
            throw std::runtime_error("broken decoder");
        }
        if (path == "memory") {
            throw std::bad_alloc();
        }
        if (path == "odd") {
            throw 5;
        }
        if (path == "bad" || (path == "once" && again)) {
            return nullptr;
        }
        ++livingSamples;
        return {new Velmora::dsp::SampleData(std::vector<float>(64, 0.5F), place, {}), [](auto* sample) {
                    delete sample;
                    --livingSamples;
                    AudioThread::CountFree();
                }};
    }

    std::mutex mutex; // guards all below
    std::condition_variable changed;
    bool isOpen = true;
    Names decoded;
};

} // namespace orphia::test
