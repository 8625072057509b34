// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/midi/MidiMessage.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace orphia::plugin {

/// What an editor sees of the sound, and the keys that are played on it. The audio thread writes and nobody
/// waits; as long as no editor is open it costs next to nothing.
class Watch {
public:
    static constexpr std::size_t mostMessages = 256;

    // ---- Message threads

    void Add() { watchers.fetch_add(1, std::memory_order_relaxed); }
    void Remove() { watchers.fetch_sub(1, std::memory_order_relaxed); }
    /// Of one thread at a time. False when so many wait that it is left out.
    bool Play(const host::MidiMessage& message) {
        const std::uint32_t next = written.load(std::memory_order_relaxed);
        if (next - read.load(std::memory_order_acquire) == mostMessages) {
            return false;
        }
        messages[next % mostMessages] = message;
        written.store(next + 1, std::memory_order_release);
        return true;
    }
    /// The largest since it was asked last.
    static float Take(std::atomic<float>& peak) { return peak.exchange(0.0F, std::memory_order_relaxed); }

    // ---- The audio thread

    bool IsOn() const { return watchers.load(std::memory_order_relaxed) > 0; }
    template <class F>
    void TakeMessages(F&& f) {
        std::uint32_t next = read.load(std::memory_order_relaxed);
        for (const std::uint32_t end = written.load(std::memory_order_acquire); next != end; ++next) {
            f(messages[next % mostMessages]);
        }
        read.store(next, std::memory_order_release);
    }
    /// What was accepted by the instrument.
    void See(const host::MidiMessage& message) {
        const unsigned key = message.data1 & 0x7FU;
        const std::uint64_t bit = std::uint64_t{1} << (key % 64U);
        if (message.Kind() == 0x90 && message.data2 > 0) {
            held[key / 64U].fetch_or(bit, std::memory_order_relaxed);
            newest.store(key | static_cast<std::uint32_t>(message.data2) << 8U, std::memory_order_relaxed);
        } else if (message.Kind() == 0x80 || message.Kind() == 0x90) {
            held[key / 64U].fetch_and(~bit, std::memory_order_relaxed);
        }
    }
    void ForgetKeys() {
        held[0].store(0, std::memory_order_relaxed);
        held[1].store(0, std::memory_order_relaxed);
    }
    static void Raise(std::atomic<float>& peak, const float* samples, std::uint32_t count);
    /// A clock that is no call of the system; 0 where the processor has none.
    static std::uint64_t Ticks();

    std::atomic<float> voicePeak{0.0F};
    std::array<std::atomic<float>, 2> outputPeak{};
    /// Bit n of both together: key n is down.
    std::array<std::atomic<std::uint64_t>, 2> held{};
    /// The key that was pressed last, and 256 times its velocity.
    std::atomic<std::uint32_t> newest{60 | 100U << 8U};
    /// Spent in calls, and the frames that they had.
    std::atomic<std::uint64_t> busyTicks{0};
    std::atomic<std::uint64_t> frames{0};

private:
    std::atomic<int> watchers{0};
    std::array<host::MidiMessage, mostMessages> messages{};
    std::atomic<std::uint32_t> written{0};
    std::atomic<std::uint32_t> read{0};
};

} // namespace orphia::plugin
