// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/samples/SampleManager.h"
#include "rigs/AudioThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <stdexcept>
#include <thread>

namespace orphia::test {

using Velmora::u32;
using Names = std::vector<std::string>;

/// Reads files by their whole path and decodes names without any: "bad" gives nothing, "once" nothing but
/// once, "throw" and "odd" raise.
class ScriptedSampleManager final : public Velmora::engine::SampleManager {
public:
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
    /// What the sample in a slot was read from, "" for none.
    std::string Held(u32 slot) {
        const std::lock_guard lock(mutex);
        return Sample(slot) == nullptr ? "" : origins.at(Sample(slot).get());
    }
    /// The names without a file, in the order of decoding.
    Names Decoded() {
        const std::lock_guard lock(mutex);
        return decoded;
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
    static inline std::atomic<int> allSamples{0};

private:
    std::shared_ptr<const Data> Load(u32 slot, const std::string& path) override {
        const std::string origin = path;
        auto sample = path.front() == '/' ? SampleManager::Load(slot, path) : Decode(path);
        if (sample == nullptr) {
            return nullptr;
        }
        ++livingSamples;
        ++allSamples;
        const Data* data = sample.get();
        const std::lock_guard lock(mutex);
        origins[data] = origin;
        return {data, [sample](const Data*) mutable {
                    sample = nullptr;
                    --livingSamples;
                    AudioThread::CountFree();
                }};
    }

    std::shared_ptr<const Data> Decode(const std::string& name) {
        std::unique_lock lock(mutex);
        const bool again = std::find(decoded.begin(), decoded.end(), name) != decoded.end();
        decoded.push_back(name);
        changed.notify_all();
        changed.wait(lock, [&] { return isOpen; });
        if (name == "throw") {
            throw std::runtime_error("broken decoder");
        }
        if (name == "odd") {
            throw 5;
        }
        if (name == "bad" || (name == "once" && again)) {
            return nullptr;
        }
        return std::make_shared<const Data>(std::vector<float>(64, 0.5F), 1.0F, Data::Instrument{});
    }

    std::mutex mutex; // guards all below
    std::condition_variable changed;
    bool isOpen = true;
    Names decoded;
    std::map<const Data*, std::string> origins;
};

} // namespace orphia::test
