// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processor/boundary/ILogSink.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace orphia::host {

/// Collects what an engine says, on whatever thread; what is too much is left out.
class EngineMessages final : public Velmora::Processor::ILogSink {
public:
    void Log(const char* text, Velmora::u32 /*level*/) override {
        const std::scoped_lock lock(mutex);
        if (text != nullptr && messages.size() < maxKept) {
            messages.emplace_back(text);
        }
    }

    std::vector<std::string> Take() {
        const std::scoped_lock lock(mutex);
        return std::exchange(messages, {});
    }

private:
    static constexpr std::size_t maxKept = 1000;

    std::mutex mutex;
    std::vector<std::string> messages;
};

} // namespace orphia::host
